#include "platform/linux/preferences/RecordRows.h"

#include "platform/KeyedArchive.h"
#include "platform/linux/preferences/RecordRow.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace vmr {
namespace {

/// Where the numbers of a process begin, so that a row that is added after all others were removed
/// does not get a number that another process has seen before. From there on they have no gaps.
std::int64_t numberOfNow() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace

int RecordRows::readFrom(std::int64_t &after) {
    std::int64_t first = 0;
    const int code = connection_.number("SELECT min(number) FROM records", first);
    std::int64_t known = 0;
    for (const auto &[list, stored] : lists_) {
        if (!stored.numbers.empty() && (known == 0 || stored.numbers.front() < known))
            known = stored.numbers.front();
    }
    // Whoever writes the lists adds rows at the end and removes them from the front.
    if (code == SQLITE_OK && known != 0 && first == known)
        after = lastNumber_;
    return code;
}

void RecordRows::follow(PreferencesRows &rows, bool isWhole, const std::set<std::string> &apart) {
    const auto before = isWhole ? std::exchange(lists_, {}) : Lists();
    for (const auto &[list, stored] : rows.lists) {
        if (!stored.numbers.empty())
            lastNumber_ = std::max(lastNumber_, stored.numbers.back());
        const auto known = before.find(list);
        add(stored, known == before.end() ? nullptr : &known->second, !apart.contains(list),
            lists_[list]);
        rows.entries.insert_or_assign(list, *PreferencesColumn::encode(Value::data(
                                                archivedDataWithRecords(lists_[list].records))));
    }
}

/// Of a list that is apart only what this process has written itself is added.
void RecordRows::add(const StoredRecords &stored, const StoredRecords *known, bool all,
                     StoredRecords &result) {
    std::size_t at = 0;
    for (std::size_t index = 0; index < stored.numbers.size(); ++index) {
        const std::int64_t number = stored.numbers[index];
        while (known != nullptr && at < known->numbers.size() && known->numbers[at] < number)
            ++at;
        const bool isKnown =
            known != nullptr && at < known->numbers.size() && known->numbers[at] == number;
        if (!isKnown && !all)
            continue;
        result.numbers.push_back(number);
        result.records.push_back(isKnown ? known->records[at] : stored.records[index]);
    }
}

int RecordRows::prepare() {
    if (insert_)
        return SQLITE_OK;
    for (const auto &[sql, statement] :
         {std::pair{"DELETE FROM records WHERE number=?1", &removeOne_},
          std::pair{"DELETE FROM records WHERE number BETWEEN ?1 AND ?2 AND list=?3",
                    &removeRange_},
          std::pair{"INSERT INTO records(number,list,class,date,consentString,fields,checksum) "
                    "VALUES(?1,?2,?3,?4,?5,?6,?7)",
                    &insert_}}) {
        if (const int code = connection_.prepare(sql, *statement))
            return code;
    }
    lastNumber_ = std::max(lastNumber_, numberOfNow());
    return SQLITE_OK;
}

int RecordRows::write(const std::string &list, const RecordList *records) {
    if (const int code = prepare())
        return code;
    static const StoredRecords nothing;
    const auto found = lists_.find(list);
    const StoredRecords &stored = found != lists_.end() ? found->second : nothing;

    Pending pending{list, records != nullptr, records != nullptr ? *records : RecordList(), {}, {}};
    pending.rest = pending.records.restOf(stored.records);
    const auto &[dropped, kept] = pending.rest;
    int code = removeRows(list, stored, 0, dropped);
    if (code == SQLITE_DONE)
        code = removeRows(list, stored, dropped + kept, stored.numbers.size());
    for (std::size_t index = kept; index < pending.records.size() && code == SQLITE_DONE; ++index)
        code = add(list, *pending.records[index], pending);
    if (code == SQLITE_DONE)
        pending_.push_back(std::move(pending));
    return code;
}

int RecordRows::removeRows(const std::string &list, const StoredRecords &stored, std::size_t first,
                           std::size_t last) {
    if (first >= last)
        return SQLITE_DONE;
    int code = connection_.execute("SAVEPOINT rows");
    if (code != SQLITE_OK)
        return code;
    {
        const StatementUse use(removeRange_);
        sqlite3_bind_int64(use.get(), 1, stored.numbers[first]);
        sqlite3_bind_int64(use.get(), 2, stored.numbers[last - 1]);
        sqlite3_bind_text64(use.get(), 3, list.data(), list.size(), SQLITE_STATIC, SQLITE_UTF8);
        code = sqlite3_step(use.get());
    }
    // Among them may be rows of somebody else, or such as could not be read: they stay.
    const bool tooMany =
        code == SQLITE_DONE &&
        static_cast<std::size_t>(sqlite3_changes(connection_.get())) > last - first;
    if (tooMany && connection_.execute("ROLLBACK TO rows") == SQLITE_OK) {
        for (std::size_t at = first; at < last && code == SQLITE_DONE; ++at)
            code = removeOne(stored.numbers[at]);
    }
    const int released = connection_.execute("RELEASE rows");
    return released == SQLITE_OK ? code : released;
}

int RecordRows::removeOne(std::int64_t number) {
    const StatementUse use(removeOne_);
    sqlite3_bind_int64(use.get(), 1, number);
    return sqlite3_step(use.get());
}

int RecordRows::add(const std::string &list, const Archivable &record, Pending &pending) {
    const RecordRow row(record);
    int code = SQLITE_CONSTRAINT;
    // Somebody else may have added a row by hand that has the number already.
    for (int tries = 0; tries < 2 && (code & 0xff) == SQLITE_CONSTRAINT; ++tries) {
        if (tries > 0)
            connection_.number("SELECT max(number) FROM records", lastNumber_);
        ++lastNumber_;
        const StatementUse use(insert_);
        sqlite3_bind_int64(use.get(), 1, lastNumber_);
        code = row.bind(use.get(), 2, list);
        if (code == SQLITE_OK)
            code = sqlite3_step(use.get());
    }
    if (code == SQLITE_DONE)
        pending.added.push_back(lastNumber_);
    return code;
}

void RecordRows::committed() {
    for (Pending &one : pending_) {
        if (!one.exists) {
            lists_.erase(one.list);
            continue;
        }
        StoredRecords &stored = lists_[one.list];
        std::vector<std::int64_t> &numbers = stored.numbers;
        const auto front = numbers.begin() + static_cast<std::ptrdiff_t>(one.rest.dropped);
        numbers.erase(numbers.begin(), front);
        numbers.resize(one.rest.kept);
        numbers.insert(numbers.end(), one.added.begin(), one.added.end());
        stored.records = std::move(one.records);
    }
    pending_.clear();
}

void RecordRows::close() {
    for (SQLiteStatement *statement : {&insert_, &removeRange_, &removeOne_})
        statement->reset();
    pending_.clear();
}

} // namespace vmr
