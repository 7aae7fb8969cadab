#pragma once
// Converts an old Access store (kalvex.mdb) into an SQLite store with the
// same tables, columns and rows, reading the Access file with mdbtools
// (mdb-tables, mdb-schema, mdb-export). Date-times arrive as day counts
// since 1899-12-30, as the Access store held them; the schema updater turns
// them into the SQLite store's Julian day numbers on the first start.
//
// Usage of the program: -c "<kalvex.mdb>" "<kalvex.db>" [-ctCopyAutoIncAsautoinc]

#include "db/BasedbClasses.h"

#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

namespace kalvex {

struct TConvertArguments {
    QString source;
    QString target;
    bool copyAutoIncAsAutoInc = false;   // counters stay counters, with their values
};

// Nothing when the arguments do not describe a conversion.
std::optional<TConvertArguments> ParseConvertArguments(const QStringList& args);

// One parsed CSV field of mdb-export: an unquoted empty field is NULL.
struct TCsvField {
    QString text;
    bool quoted = false;
};
using TCsvRow = std::vector<TCsvField>;
std::vector<TCsvRow> ParseCsv(const QString& text);

// The column list of one table from mdb-schema's "mysql" output.
TFieldInfoV2List ParseSchemaColumns(const QString& schema, bool copyAutoIncAsAutoInc);

class TAccessConverter {
public:
    using Log = std::function<void(const QString&)>;
    TAccessConverter(TConvertArguments args, Log log);
    // Throws EKalvex; a half-written target is removed.
    void Run();

private:
    void convertTable(TQMBDatabaseHandler& target, const QString& table);
    void copyRows(TQMBDatabaseHandler& target, const QString& table, const TFieldInfoV2List& columns);
    QString mdbTool(const QString& program, const QStringList& args) const;

    TConvertArguments FArgs;
    Log FLog;
};

}  // namespace kalvex
