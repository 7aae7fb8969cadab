#include "address/RecipientCsv.h"

#include "address/CsvAttachments.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/TextDecoding.h"

#include <QFile>
#include <QFileInfo>

#include <utility>

namespace kalvex {

namespace {

// The header decides: the separator it holds more often, outside quotes.
// Either separator may start a field while it is not known yet.
QChar separatorOf(const QString& text)
{
    int semicolons = 0, commas = 0;
    bool quoted = false;
    bool fieldStart = true;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (quoted) {
            const bool doubled = c == QLatin1Char('"') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('"');
            i += doubled;
            quoted = doubled || c != QLatin1Char('"');
            continue;
        }
        if (c == QLatin1Char('\n') || c == QLatin1Char('\r'))
            break;
        quoted = c == QLatin1Char('"') && fieldStart;
        fieldStart = c == QLatin1Char(';') || c == QLatin1Char(',');
        semicolons += c == QLatin1Char(';');
        commas += c == QLatin1Char(',');
    }
    return commas > semicolons ? QLatin1Char(',') : QLatin1Char(';');
}

enum class TColumn { cAnrede, cTitel, cVorname, cNachname, cName, cFirma, cEMail, cAnhang, cExtra };

TColumn columnOf(const QString& header)
{
    const QString h = header.trimmed().toLower();
    auto is = [&h](std::initializer_list<const char*> names) {
        for (const char* n : names)
            if (h == QLatin1String(n))
                return true;
        return false;
    };
    if (is({"anrede", "salutation"})) return TColumn::cAnrede;
    if (is({"titel", "title"})) return TColumn::cTitel;
    if (is({"vorname", "firstname", "first name"})) return TColumn::cVorname;
    if (is({"nachname", "lastname", "last name"})) return TColumn::cNachname;
    if (is({"name"})) return TColumn::cName;
    if (is({"firma", "company"})) return TColumn::cFirma;
    if (is({"email", "e-mail", "mail", "adresse", "address"})) return TColumn::cEMail;
    if (is({"anhang", "anhänge", "attachment", "attachments"})) return TColumn::cAnhang;
    return TColumn::cExtra;
}

// The names as written; resolveAttachments decides where they lead.
QStringList attachmentNames(const QString& cell)
{
    QStringList names;
    for (const QString& part : cell.split(QLatin1Char('|'), Qt::SkipEmptyParts))
        if (!part.trimmed().isEmpty())
            names << part.trimmed();
    return names;
}

void setField(TRecipientPerson& p, TColumn column, const QString& header, const QString& value)
{
    switch (column) {
    case TColumn::cAnrede: p.anrede = AnredeFromText(value); break;
    case TColumn::cTitel: p.title = value.trimmed(); break;
    case TColumn::cVorname: p.firstName = value.trimmed(); break;
    case TColumn::cNachname: p.lastName = value.trimmed(); break;
    case TColumn::cName: p.fullName = value.trimmed(); break;
    case TColumn::cFirma: p.company = value.trimmed(); break;
    case TColumn::cEMail: p.email = value.trimmed(); break;
    case TColumn::cAnhang: p.attachments = attachmentNames(value); break;
    case TColumn::cExtra: p.extra << qMakePair(header.trimmed(), value); break;
    }
}

bool blankRow(const QStringList& row)
{
    for (const QString& cell : row)
        if (!cell.trimmed().isEmpty())
            return false;
    return true;
}

TRecipientPerson personOf(const QStringList& header, const QStringList& row)
{
    TRecipientPerson p;
    for (qsizetype i = 0; i < header.size(); ++i)
        setField(p, columnOf(header[i]), header[i], row.value(i));
    SplitFullName(p);
    return p;
}

QString refusalText(TAttachmentVerdict verdict, qsizetype row, const QString& name)
{
    if (verdict == TAttachmentVerdict::avOutside)
        return Tx(4300, "Zeile %1: Der Anhang \"%2\" liegt außerhalb des Ordners der Empfängerliste und wurde nicht "
                        "freigegeben.").arg(row).arg(name);
    return Tx(4301, "Zeile %1: Der Anhang \"%2\" ist keine gewöhnliche Datei (Ordner, Gerät, Pipe, Socket oder "
                    "Systemdatei unter /proc, /sys, /dev).").arg(row).arg(name);
}

// Each name becomes the file it leads to. A missing file refuses the whole
// list (the user mistyped); a refused one refuses only its recipient.
void resolveAttachments(TRecipientPerson& p, qsizetype row, const TAttachmentFolders& folders)
{
    QStringList accepted, refusals;
    for (const QString& name : std::as_const(p.attachments)) {
        const TAttachmentCheck check = folders.Check(name);
        if (check.verdict == TAttachmentVerdict::avMissing)
            throw EKalvex(Tx(3427, "Zeile %1: Der Anhang \"%2\" ist nicht vorhanden.").arg(row).arg(name));
        if (check.verdict == TAttachmentVerdict::avAccepted)
            accepted << check.path;
        else
            refusals << refusalText(check.verdict, row, name);
    }
    p.attachments = accepted;
    p.refusal = refusals.join(QLatin1Char(' '));
}

// Row numbers as the user counts them: the header is row 1.
void checkPerson(TRecipientPerson& p, qsizetype row, const TAttachmentFolders& folders)
{
    if (p.email.isEmpty())
        throw EKalvex(Tx(3426, "Zeile %1: Es ist keine E-Mail-Adresse angegeben.").arg(row));
    resolveAttachments(p, row, folders);
}

}  // namespace

QString DecodeCsvBytes(const QByteArray& bytes)
{
    return DecodeTextFileBytes(bytes);
}

QList<QStringList> SplitCsvRows(const QString& text)
{
    const QChar sep = separatorOf(text);
    QList<QStringList> rows;
    QStringList row;
    QString cell;
    bool quoted = false;
    bool fieldStart = true;   // a quote opens a quoted field only here; elsewhere it is text
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool wasStart = std::exchange(fieldStart, false);
        if (quoted) {
            if (c != QLatin1Char('"'))
                cell += c;
            else if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('"'))
                cell += text.at(++i);
            else
                quoted = false;
        } else if (c == QLatin1Char('"') && wasStart) {
            quoted = true;
        } else if (c == sep) {
            row << cell;
            cell.clear();
            fieldStart = true;
        } else if (c == QLatin1Char('\n') || c == QLatin1Char('\r')) {
            if (c == QLatin1Char('\r') && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n'))
                ++i;
            rows << (row << cell);
            row.clear();
            cell.clear();
            fieldStart = true;
        } else {
            cell += c;
        }
    }
    if (!cell.isEmpty() || !row.isEmpty())
        rows << (row << cell);
    return rows;
}

QList<TRecipientPerson> RecipientsFromCsvRows(const QList<QStringList>& rows, const QString& folder,
                                              const QStringList& releasedFolders)
{
    if (rows.isEmpty())
        throw EKalvex(Tx(3428, "Die Empfängerliste ist leer."));
    const QStringList& header = rows.first();
    bool hasEMail = false;
    for (const QString& h : header)
        hasEMail = hasEMail || columnOf(h) == TColumn::cEMail;
    if (!hasEMail)
        throw EKalvex(Tx(3429, "Die Empfängerliste hat keine Spalte \"EMail\"."));
    const TAttachmentFolders folders(folder, releasedFolders);
    QList<TRecipientPerson> people;
    for (qsizetype r = 1; r < rows.size(); ++r) {
        if (blankRow(rows[r]))
            continue;
        people << personOf(header, rows[r]);
        checkPerson(people.last(), r + 1, folders);
    }
    return people;
}

QList<TRecipientPerson> ReadRecipientCsv(const QString& fileName, const QStringList& releasedFolders)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw EKalvex(Tx(3430, "Die Empfängerliste \"%1\" kann nicht gelesen werden: %2").arg(fileName, file.errorString()));
    try {
        return RecipientsFromCsvRows(SplitCsvRows(DecodeCsvBytes(file.readAll())), QFileInfo(fileName).absolutePath(),
                                     releasedFolders);
    } catch (const EKalvex& e) {
        throw EKalvex(QStringLiteral("%1: %2").arg(fileName, e.message()));
    }
}

}  // namespace kalvex
