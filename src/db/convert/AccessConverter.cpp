#include "db/convert/AccessConverter.h"

#include "config/KalvexError.h"
#include "mailinterface/EMail.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

namespace kalvex {

namespace {

constexpr int kToolTimeoutMs = 10 * 60 * 1000;
const QString kDateFormat = QStringLiteral("%Y-%m-%d %H:%M:%S");

QString unquoteArg(QString arg)
{
    if (arg.size() >= 2 && arg.startsWith(QLatin1Char('"')) && arg.endsWith(QLatin1Char('"')))
        arg = arg.mid(1, arg.size() - 2);
    return arg;
}

// The types that mdb-schema's mysql back end writes for Access columns.
TFieldType fieldTypeOf(const QString& type, int& length)
{
    const QString t = type.toLower();
    static const QRegularExpression sized(QStringLiteral("\\((\\d+)(?:,\\s*(\\d+))?\\)"));
    const QRegularExpressionMatch m = sized.match(t);
    length = m.hasMatch() ? m.captured(1).toInt() : 0;
    if (t.startsWith(QLatin1String("varchar")) || t.startsWith(QLatin1String("char")))
        return TFieldType::ftWideString;
    if (t.startsWith(QLatin1String("numeric")) || t.startsWith(QLatin1String("decimal")))
        return m.hasMatch() && m.captured(2).toInt() == 0 ? TFieldType::ftInteger : TFieldType::ftFloat;
    if (t.contains(QLatin1String("int")))
        return TFieldType::ftInteger;
    if (t.startsWith(QLatin1String("bool")))
        return TFieldType::ftBoolean;
    if (t.startsWith(QLatin1String("float")) || t.startsWith(QLatin1String("double")) || t.startsWith(QLatin1String("real")))
        return TFieldType::ftFloat;
    if (t.startsWith(QLatin1String("datetime")) || t.startsWith(QLatin1String("date")) || t.startsWith(QLatin1String("time")))
        return TFieldType::ftDateTime;
    if (t.contains(QLatin1String("blob")) || t.contains(QLatin1String("binary")))
        return TFieldType::ftBlob;
    return TFieldType::ftMemo;   // text and anything unknown keeps its characters
}

QVariant valueOf(const TCsvField& field, TFieldType type)
{
    if (field.text.isEmpty() && !field.quoted)
        return QVariant(QMetaType(QMetaType::QString));   // NULL
    switch (type) {
    case TFieldType::ftAutoInc:
    case TFieldType::ftInteger: return field.text.toLongLong();
    case TFieldType::ftBoolean: return field.text.toInt() != 0 ? 1 : 0;
    case TFieldType::ftFloat: return field.text.toDouble();
    case TFieldType::ftDateTime:
        return DateTimeToDays(QDateTime::fromString(field.text, QStringLiteral("yyyy-MM-dd HH:mm:ss")));
    case TFieldType::ftBlob: return QByteArray::fromHex(field.text.toLatin1());
    default: return field.text;
    }
}

QString bracketList(const TFieldInfoV2List& columns, const QString& prefix)
{
    QStringList names;
    for (const TFieldInfoV2& c : columns)
        names << (prefix.isEmpty() ? QLatin1Char('[') + c.Fieldname + QLatin1Char(']') : prefix + QStringLiteral("p%1").arg(names.size()));
    return names.join(QStringLiteral(", "));
}

}  // namespace

std::optional<TConvertArguments> ParseConvertArguments(const QStringList& args)
{
    const qsizetype c = args.indexOf(QStringLiteral("-c"));
    if (c < 0 || c + 2 >= args.size())
        return std::nullopt;
    TConvertArguments result;
    result.source = unquoteArg(args[c + 1]);
    result.target = unquoteArg(args[c + 2]);
    result.copyAutoIncAsAutoInc = args.contains(QStringLiteral("-ctCopyAutoIncAsautoinc"), Qt::CaseInsensitive);
    return result;
}

std::vector<TCsvRow> ParseCsv(const QString& text)
{
    std::vector<TCsvRow> rows;
    TCsvRow row;
    TCsvField field;
    bool inQuotes = false;
    auto endField = [&] { row.push_back(std::move(field)); field = TCsvField(); };
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar ch = text.at(i);
        if (inQuotes) {
            if (ch != QLatin1Char('"'))
                field.text += ch;
            else if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('"'))
                field.text += text.at(++i);
            else
                inQuotes = false;
        } else if (ch == QLatin1Char('"')) {
            inQuotes = field.quoted = true;
        } else if (ch == QLatin1Char(',')) {
            endField();
        } else if (ch == QLatin1Char('\n')) {
            endField();
            rows.push_back(std::move(row));
            row = TCsvRow();
        } else if (ch != QLatin1Char('\r')) {
            field.text += ch;
        }
    }
    if (!field.text.isEmpty() || field.quoted || !row.empty()) {
        endField();
        rows.push_back(std::move(row));
    }
    return rows;
}

TFieldInfoV2List ParseSchemaColumns(const QString& schema, bool copyAutoIncAsAutoInc)
{
    static const QRegularExpression column(QStringLiteral("^\\s*`([^`]+)`\\s+(.*?),?\\s*$"));
    TFieldInfoV2List columns;
    for (const QString& line : schema.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch m = column.match(line);
        if (!m.hasMatch())
            continue;
        TFieldInfoV2 f;
        f.Fieldname = m.captured(1);
        const QString type = m.captured(2);
        f.Datatype = fieldTypeOf(type, f.Length);
        if (copyAutoIncAsAutoInc && type.contains(QLatin1String("auto_increment"), Qt::CaseInsensitive))
            f.Datatype = TFieldType::ftAutoInc;
        f.NotNull = f.Datatype != TFieldType::ftAutoInc && type.contains(QLatin1String("not null"), Qt::CaseInsensitive);
        columns.push_back(f);
    }
    return columns;
}

TAccessConverter::TAccessConverter(TConvertArguments args, Log log) : FArgs(std::move(args)), FLog(std::move(log)) {}

QString TAccessConverter::mdbTool(const QString& program, const QStringList& args) const
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(kToolTimeoutMs) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        const QString why = p.error() == QProcess::FailedToStart ? QStringLiteral("nicht gefunden (Paket mdbtools)")
                                                                 : QString::fromUtf8(p.readAllStandardError()).trimmed();
        throw EKalvex(QStringLiteral("%1 %2: %3").arg(program, args.join(QLatin1Char(' ')), why));
    }
    return QString::fromUtf8(p.readAllStandardOutput());
}

void TAccessConverter::Run()
{
    if (!QFileInfo(FArgs.source).isFile())
        throw EKalvex(QStringLiteral("Die Datei \"%1\" wurde nicht gefunden.").arg(FArgs.source));
    if (QFileInfo::exists(FArgs.target))
        throw EKalvex(QStringLiteral("Die Zieldatei \"%1\" ist bereits vorhanden.").arg(FArgs.target));
    TQMBDatabaseConfig config;
    config.HostName = QFileInfo(FArgs.target).absolutePath();
    config.DatabaseName = QFileInfo(FArgs.target).fileName();
    try {
        auto target = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
        target->SetConnected(true);
        const QStringList tables = mdbTool(QStringLiteral("mdb-tables"), {QStringLiteral("-1"), FArgs.source}).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        target->BeginTrans();
        for (int i = 0; i < tables.size(); ++i) {
            FLog(QStringLiteral("Tabelle %1 von %2: %3").arg(i + 1).arg(tables.size()).arg(tables[i].trimmed()));
            convertTable(*target, tables[i].trimmed());
        }
        target->CommitTrans();
    } catch (const EKalvex&) {
        QFile::remove(FArgs.target);   // a half store would stop the next conversion
        throw;
    }
}

void TAccessConverter::convertTable(TQMBDatabaseHandler& target, const QString& table)
{
    const QString schema = mdbTool(QStringLiteral("mdb-schema"),
                                   {QStringLiteral("-T"), table, QStringLiteral("--no-indexes"), QStringLiteral("--no-relations"),
                                    FArgs.source, QStringLiteral("mysql")});
    const TFieldInfoV2List columns = ParseSchemaColumns(schema, FArgs.copyAutoIncAsAutoInc);
    if (columns.empty())
        throw EKalvex(QStringLiteral("Tabelle %1: keine Spalten erkannt").arg(table));
    target.createTable(table, columns);
    copyRows(target, table, columns);
}

void TAccessConverter::copyRows(TQMBDatabaseHandler& target, const QString& table, const TFieldInfoV2List& columns)
{
    const QString csv = mdbTool(QStringLiteral("mdb-export"), {QStringLiteral("-D"), kDateFormat, QStringLiteral("-T"), kDateFormat,
                                                              QStringLiteral("-b"), QStringLiteral("hex"), FArgs.source, table});
    std::vector<TCsvRow> rows = ParseCsv(csv);
    if (rows.empty())
        throw EKalvex(QStringLiteral("Tabelle %1: mdb-export lieferte keine Kopfzeile").arg(table));
    const QString insert = QStringLiteral("INSERT INTO [%1] (%2) VALUES (%3)")
                               .arg(table, bracketList(columns, QString()), bracketList(columns, QStringLiteral(":")));
    for (size_t r = 1; r < rows.size(); ++r) {
        if (rows[r].size() != columns.size())
            throw EKalvex(QStringLiteral("Tabelle %1, Zeile %2: %3 Werte statt %4").arg(table).arg(r).arg(rows[r].size()).arg(columns.size()));
        TParamInfoV2Array params;
        for (size_t c = 0; c < columns.size(); ++c)
            params.push_back(P(QStringLiteral("p%1").arg(c), valueOf(rows[r][c], columns[c].Datatype)));
        target.ExecSQL(insert, params);
    }
    FLog(QStringLiteral("%1: %2 Zeilen").arg(table).arg(rows.size() - 1));
}

}  // namespace kalvex
