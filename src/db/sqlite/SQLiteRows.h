#pragma once
// The rows of a select read through SQLite's own statement on the store's
// connection: texts go from UTF-8 straight into QString, numbers stay
// numbers, and no value becomes a QVariant unless asked for one.

#include "db/RowReader.h"

#include <QHash>

struct sqlite3;
struct sqlite3_stmt;

namespace kalvex {

class TSQLiteRows : public TRowReader {
public:
    // Prepares sql on db (owned by the QtSql connection, which outlives
    // the reader); throws EKalvex with SQLite's message.
    TSQLiteRows(sqlite3* db, const QString& sql);
    ~TSQLiteRows() override;
    TSQLiteRows(const TSQLiteRows&) = delete;
    TSQLiteRows& operator=(const TSQLiteRows&) = delete;

    // Binds ":name"; a name the statement does not use is ignored.
    void Bind(const QString& name, const QVariant& value);
    bool Next() override;
    int Column(const QString& name) const override;   // case-insensitive, as QtSql's record
    QVariant Value(int column) const override;
    QString Text(int column) const override;
    qint64 Int(int column) const override;
    double Real(int column) const override;

private:
    [[noreturn]] void fail() const;

    sqlite3* FDb;
    sqlite3_stmt* FStatement = nullptr;
    QHash<QString, int> FColumns;   // lower-case names
};

}  // namespace kalvex
