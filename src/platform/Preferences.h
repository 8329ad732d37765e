#pragma once

#include "platform/Value.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vmr {

class Preferences;

/// Keys of a change dictionary.
inline constexpr std::string_view NSKeyValueChangeKindKey = "kind";
inline constexpr std::string_view NSKeyValueChangeNewKey = "new";
inline constexpr std::string_view NSKeyValueChangeOldKey = "old";

/// What becomes of a key; an absent value removes it.
struct PreferencesChange {
    std::string key;
    Value before;
    Value after;
    /// In the file, of what another process has handed over to the one in charge of the store.
    std::optional<std::int64_t> number = std::nullopt;
};

/// Told of changes of a preferences key.
class KeyValueObserver {
public:
    /// On the thread that made the change, inside its write; a change made by another process
    /// arrives on the main run loop. `change` holds the new and the old value as they are, the null
    /// marker where there is or was none.
    virtual void observeValueForKeyPath(const std::string &keyPath, const Preferences *object,
                                        const Dictionary &change, void *context) = 0;

protected:
    ~KeyValueObserver() = default;
};

/// Thrown when an observer is removed that is not registered.
class ObserverNotRegistered : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The application's key-value store, shared by the SDK and its host. In memory it is the truth for
/// the process: a value that was set is visible at once and is the very object that is read back.
/// Safe from any thread; no lock is held while observers are called.
class Preferences {
public:
    /// The stored object, or absent.
    virtual Value objectForKey(std::string_view key) const = 0;
    /// Stores the value; an absent one removes the key. Observers of the key are called before this
    /// returns, also when the new value equals the old one; what they write belongs to the same
    /// transaction.
    virtual void setObject(const Value &value, std::string_view key) = 0;
    /// Removes the key; observers are called when it was there.
    virtual void removeObjectForKey(std::string_view key) = 0;
    /// Everything that the calling thread writes until the transaction is destroyed reaches the
    /// store at once, or not at all. They nest, and the outermost counts. Other threads' writes
    /// wait for it, but not long.
    class Transaction {
    public:
        Transaction() = default;
        virtual ~Transaction() = default;
        Transaction(const Transaction &) = delete;
        Transaction &operator=(const Transaction &) = delete;
    };
    virtual std::unique_ptr<Transaction> transaction() = 0;
    /// Every key that holds something, in ascending order.
    virtual std::vector<std::string> keys() const = 0;
    /// Makes what was written durable before it returns; waits so long for a store that somebody
    /// else holds. False when it could not.
    virtual bool synchronizeWithin(std::chrono::milliseconds patience) = 0;
    /// The same without much patience.
    bool synchronize() { return synchronizeWithin(std::chrono::milliseconds(100)); }

    /// Adds a registration; each calls the observer once for a change. Observers are held weakly.
    /// An empty key path observes every key.
    virtual void addObserver(std::weak_ptr<KeyValueObserver> observer, std::string_view keyPath,
                             void *context) = 0;
    /// Drops the newest registration of the observer for the key path. Throws
    /// ObserverNotRegistered when there is none.
    virtual void removeObserver(const KeyValueObserver *observer, std::string_view keyPath) = 0;

    /// The same lookup as `objectForKey`.
    Value valueForKey(std::string_view key) const { return objectForKey(key); }
    /// A string as it is, a number as its text; nothing for everything else.
    std::optional<std::string> stringForKey(std::string_view key) const;
    std::string description() const;

protected:
    ~Preferences() = default;
};

} // namespace vmr
