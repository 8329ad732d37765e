#include "platform/linux/preferences/RecordRows.h"

#include "platform/KeyedArchive.h"
#include "platform/linux/preferences/PreferencesMemory.h"
#include "platform/linux/preferences/RecordRow.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace vmr {
namespace {

/// As far as this a number may be that of another row in another state of a file of version 1.
constexpr std::int64_t mostOfVersion1 = std::int64_t{1} << 40;

bool areEqual(const Archivable &left, const Archivable &right) {
    return left.archiveClassName() == right.archiveClassName() &&
           Value::dictionary(fieldsOfRecord(left))
               .isEqualTo(Value::dictionary(fieldsOfRecord(right)));
}

} // namespace

std::int64_t numberOfNow() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

std::int64_t RecordRows::readFrom() {
    // Whoever writes the lists adds rows at the end and removes them from the front.
    bool isGrown = lastNumber_ != 0;
    for (const auto &[list, stored] : lists_) {
        if (stored.numbers.empty())
            continue;
        StatementUse use(connection_, "SELECT 1 FROM records WHERE number=?1 AND list=?2");
        isGrown = isGrown && stored.numbers.back() <= PreferencesRows::lastFollowed &&
                  use.bind(1, stored.numbers.front()).bind(2, list).step();
    }
    return isGrown ? lastNumber_ + 1 : PreferencesRows::allRecords;
}

void RecordRows::follow(PreferencesRows &rows, bool isWhole, const PreferencesMemory &memory) {
    isNumbering_ = isNumbering_ && !isWhole;
    Lists whole;
    Lists &lists = isWhole ? whole : lists_;
    for (const auto &[list, stored] : rows.lists) {
        const auto end = std::ranges::upper_bound(stored.numbers, PreferencesRows::lastFollowed);
        if (end != stored.numbers.begin())
            lastNumber_ = std::max(lastNumber_, *std::prev(end));
        const auto known = isWhole ? lists_.find(list) : lists_.end();
        add(stored, known == lists_.end() ? nullptr : &known->second, !memory.isUnwritten(list),
            lists[list]);
    }
    // Also those whose own entry is gone.
    for (const auto &[list, stored] : lists) {
        if (!stored.numbers.empty() || rows.lists.contains(list))
            rows.entries.insert_or_assign(list,
                                          Value::data(archivedDataWithRecords(stored.records)));
    }
    if (isWhole)
        lists_.swap(whole);
}

/// Of a list that is apart only what this process has written itself is added.
void RecordRows::add(const StoredRecords &stored, const StoredRecords *known, bool all,
                     StoredRecords &result) {
    std::size_t at = 0;
    result.numbers.reserve(result.numbers.size() + stored.numbers.size());
    for (std::size_t index = 0; index < stored.numbers.size(); ++index) {
        const std::int64_t number = stored.numbers[index];
        while (known != nullptr && at < known->numbers.size() && known->numbers[at] < number)
            ++at;
        const bool isKnown =
            known != nullptr && at < known->numbers.size() && known->numbers[at] == number &&
            (number > mostOfVersion1 || areEqual(*known->records[at], *stored.records[index]));
        if (!isKnown && !all)
            continue;
        result.records.push_back(isKnown ? known->records[at] : stored.records[index]);
        result.numbers.push_back(number);
    }
}

void RecordRows::begin() {
    for (const Pending &undone : pending_) {
        if (undone.isNew)
            lists_.erase(undone.list);
    }
    pending_.clear();
}

void RecordRows::write(const std::string &list, const RecordList *records) {
    Pending &pending = pending_.emplace_back(
        Pending{.list = list, .exists = records != nullptr, .isNew = !lists_.contains(list)});
    if (records != nullptr)
        pending.records = *records;
    StoredRecords &stored = lists_[list];
    pending.rest = pending.records.restOf(stored.records);
    // New rows would come before such a one: the whole list gets new numbers.
    if (!stored.numbers.empty() && stored.numbers.back() > PreferencesRows::lastFollowed)
        pending.rest = {stored.numbers.size(), 0};
    const auto &[dropped, kept] = pending.rest;
    removeRows(list, stored, 0, dropped);
    removeRows(list, stored, dropped + kept, stored.numbers.size());
    for (std::size_t index = kept; index < pending.records.size(); ++index) {
        if (!std::exchange(isNumbering_, true))
            lastNumber_ = std::max(lastNumber_, numberOfNow());
        lastNumber_ = insert(list, *pending.records[index], lastNumber_ + 1);
        pending.added.push_back(lastNumber_);
    }
    // What the end of the transaction needs is there before it, so that memory cannot fail it then.
    const std::size_t needed = pending.rest.kept + pending.added.size();
    if (stored.numbers.capacity() < needed)
        stored.numbers.reserve(needed + needed / 2);
}

void RecordRows::removeRows(const std::string &list, const StoredRecords &stored, std::size_t first,
                            std::size_t last) {
    if (first >= last)
        return;
    const auto range = [&](const char *sql) -> std::int64_t {
        StatementUse use(connection_, sql);
        use.bind(1, stored.numbers[first]).bind(2, stored.numbers[last - 1]).bind(3, list);
        return use.step() ? sqlite3_column_int64(use.get(), 0) : 0;
    };
    // Among them may be rows of somebody else, or such as could not be read: they stay.
    if (range("SELECT count(*) FROM records WHERE number BETWEEN ?1 AND ?2 AND list=?3") <=
        static_cast<std::int64_t>(last - first)) {
        range("DELETE FROM records WHERE number BETWEEN ?1 AND ?2 AND list=?3");
        return;
    }
    for (std::size_t at = first; at < last; ++at)
        StatementUse(connection_, "DELETE FROM records WHERE number=?1")
            .bind(1, stored.numbers[at])
            .step();
}

std::int64_t RecordRows::insert(const std::string &list, const Archivable &record,
                                std::int64_t number) {
    int code = SQLITE_CONSTRAINT;
    for (int tries = 0; tries < 2 && (code & 0xff) == SQLITE_CONSTRAINT; ++tries) {
        if (tries > 0)
            number = connection_.number(
                "SELECT 1+number FROM records one WHERE number>=(SELECT max(number) FROM records "
                "WHERE number<=9223372036854775807/4) AND NOT EXISTS(SELECT 1 FROM records WHERE "
                "number=1+one.number) ORDER BY number");
        StatementUse use(connection_,
                         "INSERT INTO records(number,list,class,date,consentString,fields,checksum)"
                         " VALUES(?1,?2,?3,?4,?5,?6,?7)");
        use.bind(1, number);
        bindRecord(use, 2, list, record);
        code = sqlite3_step(use.get());
    }
    connection_.check(code);
    return number;
}

void RecordRows::committed() {
    for (Pending &one : pending_) {
        if (!one.exists) {
            lists_.erase(one.list);
            continue;
        }
        StoredRecords &stored = lists_.find(one.list)->second;
        std::vector<std::int64_t> &numbers = stored.numbers;
        const auto front = numbers.begin() + static_cast<std::ptrdiff_t>(one.rest.dropped);
        numbers.erase(numbers.begin(), front);
        numbers.resize(one.rest.kept);
        numbers.insert(numbers.end(), one.added.begin(), one.added.end());
        stored.records = std::move(one.records);
    }
    pending_.clear();
}

} // namespace vmr
