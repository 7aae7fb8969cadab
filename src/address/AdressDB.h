#pragma once
// Bridge to the host's address database: an SQLite file AdressDB.db below
// the host's control-centre folder (FPKZPath + "AdressDB/"), or the file
// named in section "AdressDB" (key "DatabaseName") of the host's server
// settings (serverdboptions.ini in the server settings folder). The host owns
// that file; the module only reads it.
//
// Lifetime: created for one window-opening call and freed at its end. The
// connection is private to the object (its own connection name).

#include "compose/RecipientFields.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>
#include <QVariant>
#include <cstdint>

class QSqlQuery;

namespace kalvex {

// One address record: field values by column name (case-insensitive).
class TAdrFieldValueList {
public:
    void SetField(const QString& name, const QString& value);
    bool TryGetField(const QString& name, QString& value) const;
    QString Field(const QString& name) const;   // empty when absent
    bool IsEmpty() const { return FValues.isEmpty(); }

private:
    QHash<QString, QString> FValues;   // keys lower-case
};

class TAdressDB {
public:
    explicit TAdressDB(QString pkzPath);
    ~TAdressDB();
    TAdressDB(const TAdressDB&) = delete;
    TAdressDB& operator=(const TAdressDB&) = delete;

    // Opens the database read-only. name is the settings section and the
    // file's base name ("AdressDB"). Raises EKalvex when the file exists but
    // cannot be opened; a missing file leaves the bridge closed (no host
    // addresses), which the windows show as an empty list.
    void Load(const QString& serverDBIniDir, const QString& name, int version);
    bool IsOpen() const { return FOpen; }
    const QString& FileName() const { return FFileName; }

    // Reads the row of table whose guidColumn holds guid (braced text, any
    // case). Table and column must exist; false when there is no such row.
    bool RefreshRecord(const QString& table, const QString& guidColumn, const QUuid& guid,
                       TAdrFieldValueList& record);
    // Persdat rows whose name, company or address contain text (all when
    // empty), ordered by name; at most limit rows.
    QList<TAdrFieldValueList> SearchPersdat(const QString& text, int limit);

private:
    QString locateFile(const QString& serverDBIniDir, const QString& name) const;
    bool isKnownColumn(const QString& table, const QString& column);
    TAdrFieldValueList readCurrent(const QSqlQuery& query) const;

    QString FPKZPath;
    QString FFileName;
    QString FConnectionName;
    bool FOpen = false;
    int FVersion = 0;
};

// Full name and company as the distribution window shows them.
QString AdrFullName(const TAdrFieldValueList& record);   // Vorname + " " + Name, trimmed
QString AdrCompany(const TAdrFieldValueList& record);    // Firma + " " + Firma2, trimmed
// The person for the recipient fields: Anrede and Titel where the host
// records them, Vorname, Name (the last name), the company, EMAIL.
TRecipientPerson AdrPerson(const TAdrFieldValueList& record);

}  // namespace kalvex

namespace kalvex {

class TEmpfaenger2;

// A recipient as the distribution window lists it.
struct TRecipientRow {
    int32_t typ = 0;          // TEmpfaengerTyp
    QString email;
    QString fullName;
    QString company;
    TRecipientPerson person;   // empty when the record is not there
};

// Looks a host recipient up in the address database: the e-mail from the
// column FFeldnameEMail, the names from Vorname/Name and Firma/Firma2. When
// the record is not there, the stream's own address and name stand.
TRecipientRow ResolveRecipient(TAdressDB& adr, const TEmpfaenger2& recipient);

}  // namespace kalvex
