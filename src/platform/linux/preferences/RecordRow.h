#pragma once

#include "platform/RecordList.h"

#include <string_view>

struct sqlite3_stmt;

namespace vmr {

class StatementUse;

// The columns of a record's row. A date and a consent string have columns of their own, so that
// people can read them and starts need not parse them; all other fields are one JSON text.

/// Binds list, class, date, consentString, fields and checksum, from the index `first` on.
void bindRecord(StatementUse &use, int first, std::string_view list, const Archivable &record);

/// The record of a row whose class is in the column `first`, behind its list; null when it cannot
/// be understood, or is not what was written.
RecordList::Record recordOfRow(sqlite3_stmt *row, int first);

} // namespace vmr
