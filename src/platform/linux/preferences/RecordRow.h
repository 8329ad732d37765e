#pragma once

#include "platform/RecordList.h"
#include "platform/Value.h"

#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace vmr {

class StatementUse;

/// The columns of a record's row. A date and a consent string have columns of their own, so that
/// people can read them and starts need not parse them; all other fields are one JSON text.
class RecordRow {
public:
    /// The record must live as long as the row.
    explicit RecordRow(const Archivable &record);
    /// Binds list, class, date, consentString, fields and checksum, from the index `first` on. The
    /// row must outlive the use.
    void bind(StatementUse &use, int first, std::string_view list) const;

    /// The record of a row whose class is in the column `first`, behind its list; null when it
    /// cannot be understood, or is not what was written.
    static RecordList::Record read(sqlite3_stmt *row, int first);

private:
    std::string_view className_;
    Value date_;
    Value string_;
    std::string fields_;
};

} // namespace vmr
