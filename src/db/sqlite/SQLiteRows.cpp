#include "db/sqlite/SQLiteRows.h"

#include "config/KalvexError.h"

#include <sqlite3.h>

namespace kalvex {

TSQLiteRows::TSQLiteRows(sqlite3* db, const QString& sql) : FDb(db)
{
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v2(db, text.constData(), static_cast<int>(text.size()), &FStatement, nullptr) != SQLITE_OK)
        fail();
    for (int i = 0, n = sqlite3_column_count(FStatement); i < n; ++i)
        FColumns.insert(QString::fromUtf8(sqlite3_column_name(FStatement, i)).toLower(), i);
}

TSQLiteRows::~TSQLiteRows()
{
    sqlite3_finalize(FStatement);
}

void TSQLiteRows::fail() const
{
    throw EKalvex(QString::fromUtf8(sqlite3_errmsg(FDb)));
}

void TSQLiteRows::Bind(const QString& name, const QVariant& value)
{
    const int at = sqlite3_bind_parameter_index(FStatement, (QLatin1Char(':') + name).toUtf8().constData());
    if (at == 0)
        return;
    int rc = SQLITE_OK;
    switch (value.typeId()) {
    case QMetaType::Int: case QMetaType::UInt: case QMetaType::LongLong: case QMetaType::Bool:
        rc = sqlite3_bind_int64(FStatement, at, value.toLongLong());
        break;
    case QMetaType::Double:
        rc = sqlite3_bind_double(FStatement, at, value.toDouble());
        break;
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        rc = sqlite3_bind_blob64(FStatement, at, bytes.constData(), static_cast<sqlite3_uint64>(bytes.size()), SQLITE_TRANSIENT);
        break;
    }
    default:
        if (value.isNull()) {
            rc = sqlite3_bind_null(FStatement, at);
        } else {
            const QByteArray text = value.toString().toUtf8();
            rc = sqlite3_bind_text64(FStatement, at, text.constData(), static_cast<sqlite3_uint64>(text.size()),
                                     SQLITE_TRANSIENT, SQLITE_UTF8);
        }
    }
    if (rc != SQLITE_OK)
        fail();
}

bool TSQLiteRows::Next()
{
    const int rc = sqlite3_step(FStatement);
    if (rc == SQLITE_ROW)
        return true;
    if (rc != SQLITE_DONE)
        fail();
    return false;
}

int TSQLiteRows::Column(const QString& name) const
{
    return FColumns.value(name.toLower(), -1);
}

QVariant TSQLiteRows::Value(int column) const
{
    if (column < 0)
        return QVariant();
    switch (sqlite3_column_type(FStatement, column)) {
    case SQLITE_INTEGER: return QVariant(static_cast<qlonglong>(sqlite3_column_int64(FStatement, column)));
    case SQLITE_FLOAT: return QVariant(sqlite3_column_double(FStatement, column));
    case SQLITE_TEXT: return QVariant(Text(column));
    case SQLITE_BLOB: {
        const auto* bytes = static_cast<const char*>(sqlite3_column_blob(FStatement, column));
        return QVariant(QByteArray(bytes, sqlite3_column_bytes(FStatement, column)));
    }
    default: return QVariant();
    }
}

QString TSQLiteRows::Text(int column) const
{
    if (column < 0)
        return QString();
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(FStatement, column));
    return text ? QString::fromUtf8(text, sqlite3_column_bytes(FStatement, column)) : QString();
}

qint64 TSQLiteRows::Int(int column) const
{
    return column < 0 ? 0 : sqlite3_column_int64(FStatement, column);
}

double TSQLiteRows::Real(int column) const
{
    return column < 0 ? 0 : sqlite3_column_double(FStatement, column);
}

}  // namespace kalvex
