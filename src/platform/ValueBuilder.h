#pragma once

#include "platform/Value.h"

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <utility>

namespace vmr {

/// How deep lists and dictionaries may nest in what is read from outside.
inline constexpr std::size_t maximumNestingDepth = 512;

/// How many values, all levels together: of the emptiest ones a text of a few megabytes would fill
/// the memory of a small device.
inline constexpr std::size_t mostElements = std::size_t{1} << 20;

/// Puts a value together from the events of a parser. Nothing is reserved on a parser's word, so
/// memory grows only with what was really read.
class ValueBuilder {
public:
    explicit ValueBuilder(std::size_t depthLimit = maximumNestingDepth,
                          std::size_t elements = mostElements)
        : depthLimit_(depthLimit), elementsLeft_(elements) {}

    /// False when it would nest too deep.
    bool beginList() { return begin(false); }
    bool beginDictionary() { return begin(true); }
    /// The key of the dictionary value that is added next.
    void setKey(std::string key) { open_.back().key = std::move(key); }
    /// Adds to the innermost open container, or is the root. Of equal keys the first wins. False
    /// when there are too many.
    bool add(Value value) {
        if (elementsLeft_ == 0)
            return false;
        --elementsLeft_;
        if (open_.empty()) {
            root_ = std::move(value);
            return true;
        }
        Container &container = open_.back();
        if (container.isDictionary)
            container.entries.try_emplace(container.entries.end(), std::move(container.key),
                                          std::move(value));
        else
            container.elements.push_back(std::move(value));
        return true;
    }
    /// Closes the innermost container and hands it out; the caller adds it.
    Value end() {
        Container &container = open_.back();
        Value made = container.isDictionary ? Value::dictionary(std::move(container.entries))
                                            : Value::list(std::move(container.elements));
        open_.pop_back();
        return made;
    }

    std::size_t depthLeft() const { return depthLimit_ - open_.size(); }
    std::size_t &elementsLeft() { return elementsLeft_; }
    bool isTopLevel() const { return open_.empty(); }
    bool isInDictionary() const { return !open_.empty() && open_.back().isDictionary; }
    /// Nothing until the root is complete.
    const std::optional<Value> &root() const { return root_; }

private:
    struct Container {
        bool isDictionary = false;
        List elements;
        Dictionary entries;
        std::string key;
    };

    bool begin(bool isDictionary) {
        if (depthLeft() == 0)
            return false;
        open_.emplace_back().isDictionary = isDictionary;
        return true;
    }

    std::size_t depthLimit_;
    std::size_t elementsLeft_;
    std::list<Container> open_;
    std::optional<Value> root_;
};

} // namespace vmr
