#pragma once

#include "platform/FunctionRef.h"
#include "platform/KeyedArchive.h"
#include "platform/Locked.h"
#include "platform/RecordList.h"
#include "platform/Value.h"

#include <optional>
#include <string_view>

namespace vmr {

/// Flushes the store where the system is so old (before 9.3) that it does not do so by itself.
/// Follows every write that the SDK makes.
void flushPreferencesIfNeeded();

/// Stores an archive under the key. What is stored there already and cannot be decoded is kept
/// under the key's name followed by ".unreadable" first.
void storeArchive(const Data &archive, std::string_view key);
/// The decoded root of the archive stored under the key; absent when there is none or its bytes
/// cannot be decoded, which a line in the system log then says.
Value loadArchive(std::string_view key);
/// Keeps what the key holds under the key's name followed by ".unreadable" (and a number, when
/// something else is kept there already), and says so in the system log. Done by the two above;
/// for callers that can make nothing of a decoded root.
void keepUnreadableArchive(std::string_view key);

void saveArrayWithKey(const List &list, std::string_view key);
/// The same for a list of records. Costs what differs from the list that is stored.
void saveArrayWithKey(const RecordList &records, std::string_view key);
/// The stored list, an empty list when there is none; a stored value of another type as it is.
Value deviceDataArrayWithType(std::string_view key);

/// The records of the class that are stored as a list under the key. What is stored there and is no
/// list of such records is kept under the key's name followed by ".unreadable"; those of its
/// elements that are such records are used.
RecordList storedRecords(std::string_view key, std::string_view className);
/// Stores the list as it is under the key. Another thread, which could not wait for this one's
/// transaction, may have stored a newer one first: the newest is stored last.
void saveCurrentRecords(const Locked<RecordList> &current, std::string_view key);

void saveDictionaryWithKey(const Dictionary &dictionary, std::string_view key);
/// The stored dictionary, an empty one when there is none; a stored value of another type as it is.
Value mutableDictionaryWithType(std::string_view key);

/// Stores the date; an absent one removes the key.
void saveDateForKey(const std::optional<Date> &date, std::string_view key);
/// The same; an absent one leaves what is stored.
void savePresentDateForKey(const std::optional<Date> &date, std::string_view key);
/// What the key holds, unchecked, or the distant past.
Value savedDateOrDistantPastForKey(std::string_view key);
/// What the key holds, unchecked, or absent.
Value savedDateOrNilForKey(std::string_view key);

/// The date a date key's value stands for; the distant past when it is no date.
Date dateOrDistantPast(const Value &stored);

} // namespace vmr
