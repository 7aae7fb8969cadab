#include "address/AdressDB.h"

#include "config/AppPaths.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <atomic>

namespace kalvex {

namespace {

QString nextConnectionName()
{
    static std::atomic<int> counter{0};
    return QStringLiteral("kalvex-adressdb-%1").arg(++counter);
}

QString quoted(const QString& identifier)
{
    return QLatin1Char('"') + QString(identifier).replace(QLatin1Char('"'), QLatin1String("\"\"")) + QLatin1Char('"');
}

}  // namespace

void TAdrFieldValueList::SetField(const QString& name, const QString& value)
{
    FValues.insert(name.toLower(), value);
}

bool TAdrFieldValueList::TryGetField(const QString& name, QString& value) const
{
    const auto it = FValues.constFind(name.toLower());
    if (it == FValues.constEnd())
        return false;
    value = *it;
    return true;
}

QString TAdrFieldValueList::Field(const QString& name) const
{
    return FValues.value(name.toLower());
}

QString AdrFullName(const TAdrFieldValueList& record)
{
    return (record.Field(QStringLiteral("Vorname")) + QLatin1Char(' ') + record.Field(QStringLiteral("Name"))).trimmed();
}

TRecipientPerson AdrPerson(const TAdrFieldValueList& record)
{
    TRecipientPerson p;
    p.anrede = AnredeFromText(record.Field(QStringLiteral("Anrede")));
    p.title = record.Field(QStringLiteral("Titel")).trimmed();
    p.firstName = record.Field(QStringLiteral("Vorname")).trimmed();
    p.lastName = record.Field(QStringLiteral("Name")).trimmed();
    p.company = AdrCompany(record);
    p.email = record.Field(QStringLiteral("EMAIL")).trimmed();
    return p;
}

QString AdrCompany(const TAdrFieldValueList& record)
{
    return (record.Field(QStringLiteral("Firma")) + QLatin1Char(' ') + record.Field(QStringLiteral("Firma2"))).trimmed();
}

TAdressDB::TAdressDB(QString pkzPath) : FPKZPath(std::move(pkzPath)), FConnectionName(nextConnectionName()) {}

TAdressDB::~TAdressDB()
{
    if (QSqlDatabase::contains(FConnectionName)) {
        QSqlDatabase::database(FConnectionName, false).close();
        QSqlDatabase::removeDatabase(FConnectionName);
    }
}

QString TAdressDB::locateFile(const QString& serverDBIniDir, const QString& name) const
{
    if (!serverDBIniDir.isEmpty()) {
        const TIniFile settings(QDir(serverDBIniDir).filePath(QStringLiteral("serverdboptions.ini")));
        const QString named = settings.ReadString(name, QStringLiteral("DatabaseName"), QString());
        if (!named.isEmpty())
            return QFileInfo(named).isAbsolute() ? named : QDir(serverDBIniDir).filePath(named);
    }
    return JoinPath(FPKZPath, name + QLatin1Char('/') + name + QStringLiteral(".db"));
}

void TAdressDB::Load(const QString& serverDBIniDir, const QString& name, int version)
{
    FVersion = version;
    FFileName = locateFile(serverDBIniDir, name);
    if (!QFileInfo::exists(FFileName))
        return;
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), FConnectionName);
    db.setDatabaseName(FFileName);
    db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=5000"));
    if (!db.open() || db.tables().isEmpty())
        throw EKalvex(Tx(1820, "Die Adressdatenbank \"%1\" konnte nicht geöffnet werden: %2")
                          .arg(FFileName, db.lastError().text()));
    FOpen = true;
}

bool TAdressDB::isKnownColumn(const QString& table, const QString& column)
{
    QSqlDatabase db = QSqlDatabase::database(FConnectionName, false);
    if (!db.tables().contains(table, Qt::CaseInsensitive))
        return false;
    return db.record(table).indexOf(column) >= 0;
}

TAdrFieldValueList TAdressDB::readCurrent(const QSqlQuery& query) const
{
    TAdrFieldValueList record;
    const QSqlRecord r = query.record();
    for (int i = 0; i < r.count(); ++i)
        record.SetField(r.fieldName(i), query.value(i).toString());
    return record;
}

bool TAdressDB::RefreshRecord(const QString& table, const QString& guidColumn, const QUuid& guid,
                              TAdrFieldValueList& record)
{
    if (!FOpen)
        return false;
    // Names come from the host's stream: only existing tables and columns
    // reach the SQL text.
    if (!isKnownColumn(table, guidColumn))
        throw EKalvex(Tx(1821, "Die Adressdatenbank kennt die Spalte \"%1\" der Tabelle \"%2\" nicht.")
                          .arg(guidColumn, table));
    QSqlQuery q(QSqlDatabase::database(FConnectionName, false));
    q.prepare(QStringLiteral("SELECT * FROM %1 WHERE upper(%2) = :guid").arg(quoted(table), quoted(guidColumn)));
    q.bindValue(QStringLiteral(":guid"), guid.toString(QUuid::WithBraces).toUpper());
    if (!q.exec())
        throw EKalvex(Tx(1822, "Fehler beim Lesen der Adressdatenbank: %1").arg(q.lastError().text()));
    if (!q.next())
        return false;
    record = readCurrent(q);
    return true;
}

QList<TAdrFieldValueList> TAdressDB::SearchPersdat(const QString& text, int limit)
{
    QList<TAdrFieldValueList> rows;
    if (!FOpen || !isKnownColumn(QStringLiteral("Persdat"), QStringLiteral("EMAIL")))
        return rows;
    QSqlQuery q(QSqlDatabase::database(FConnectionName, false));
    q.prepare(QStringLiteral("SELECT * FROM Persdat WHERE :t = '' OR Name LIKE :p OR Vorname LIKE :p "
                             "OR Firma LIKE :p OR EMAIL LIKE :p ORDER BY Name, Vorname LIMIT :n"));
    q.bindValue(QStringLiteral(":t"), text);
    q.bindValue(QStringLiteral(":p"), QLatin1Char('%') + text + QLatin1Char('%'));
    q.bindValue(QStringLiteral(":n"), limit);
    if (!q.exec())
        throw EKalvex(Tx(1822, "Fehler beim Lesen der Adressdatenbank: %1").arg(q.lastError().text()));
    while (q.next())
        rows << readCurrent(q);
    return rows;
}

}  // namespace kalvex

#include "mailinterface/Empfaenger.h"

namespace kalvex {

TRecipientRow ResolveRecipient(TAdressDB& adr, const TEmpfaenger2& recipient)
{
    TRecipientRow row{static_cast<int32_t>(recipient.FEmpfaengerTyp), recipient.FEMailAdresse, recipient.FName, {}};
    TAdrFieldValueList record;
    if (recipient.FTabelle.isEmpty() || !adr.RefreshRecord(recipient.FTabelle, recipient.FFeldnameGUID, recipient.FGUID, record))
        return row;
    QString email;
    if (record.TryGetField(recipient.FFeldnameEMail, email))
        row.email = email;
    row.fullName = AdrFullName(record);
    row.company = AdrCompany(record);
    row.person = AdrPerson(record);
    row.person.email = row.email.trimmed();
    return row;
}

}  // namespace kalvex
