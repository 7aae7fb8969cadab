// kalvex list, show and delete: the sent mails and drafts of the store,
// listed one a line, shown whole or deleted by their ID.
#include "CliStore.h"

#include "CliArguments.h"
#include "CliShared.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"
#include "db/uDatenModul.h"
#include "mailinterface/Empfaenger.h"
#include "mailinterface/uMailInterface.h"

#include <memory>
#include <optional>

namespace kalvex::cli {

namespace {

// Stored texts may hold terminal controls; they are shown, never obeyed.
QString shown(const QString& text)
{
    return VisibleControlCharacters(text);
}

// "yyyy-MM-dd HH:mm", put together by hand: a list prints ten thousand,
// and a date format string is parsed anew for each.
QString shortDateTime(const QDateTime& dt)
{
    if (!dt.isValid())
        return QString();
    const QDate d = dt.date();
    const QTime t = dt.time();
    char text[] = "0000-00-00 00:00";
    const auto put = [&text](int at, int value, int digits) {
        for (int i = at + digits - 1; i >= at; --i, value /= 10)
            text[i] = static_cast<char>('0' + value % 10);
    };
    if (d.year() < 0 || d.year() > 9999)
        return dt.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    put(0, d.year(), 4), put(5, d.month(), 2), put(8, d.day(), 2), put(11, t.hour(), 2), put(14, t.minute(), 2);
    return QString::fromLatin1(text, 16);
}

QString recipientsOf(const TEMail& m)
{
    QString all;
    for (const QStringList* kind : {&m.FAn, &m.FCc, &m.FBcc})
        for (const QString& address : *kind) {
            if (!all.isEmpty())
                all += QLatin1String(", ");
            all += address;
        }
    return all;
}

QString mailLine(const TEMail& m)
{
    QString line;
    line.reserve(128);
    line += QString::number(m.FID);
    for (const QString& column : {shown(m.FStatusStr), shortDateTime(DaysToDateTime(m.FDatum)), shown(m.FBetreff),
                                  shown(recipientsOf(m))}) {
        line += QLatin1Char('\t');
        line += column;
    }
    return line;
}

// The mail with that ID, read alone and without attachment contents;
// raises EUsage when there is none.
std::unique_ptr<TEMail> findMail(TDatenModul& store, int id)
{
    if (std::unique_ptr<TEMail> mail = store.LoadEMail(id))
        return mail;
    throw EUsage(Tx(2004, "Es gibt keine E-Mail mit der ID %1.").arg(id));
}

// show and delete: the one argument is the mail's ID.
std::optional<int> parseMailCommand(TCommandParser& cmd, const QStringList& args)
{
    RejectNegativeNumbers(args);
    cmd.AddPositional(QStringLiteral("ID"), Tx(2006, "die ID aus 'kalvex list'"));
    return cmd.Parse(args);
}

}  // namespace

int RunList(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("list"), Tx(2003, "Listet gesendete E-Mails und Entwürfe (ID, Status, Datum, Betreff, Empfänger)."));
    if (auto done = cmd.Parse(args))
        return *done;
    openInstallation(options);
    TDatenModul& store = openStore();
    store.LoadEMailListeFromDB();
    for (const auto& m : store.FEMailListe)
        out(mailLine(*m));
    return ExitOk;
}

int RunShow(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("show"), Tx(2005, "Zeigt eine gesendete E-Mail oder einen Entwurf."));
    if (auto done = parseMailCommand(cmd, args))
        return *done;
    openInstallation(options);
    const int id = MailId(cmd.Parser().positionalArguments());
    const std::unique_ptr<TEMail> m = findMail(openStore(), id);
    out(mailLine(*m));
    out(Tx(1964, "Betreff") + QStringLiteral(": ") + shown(m->FBetreff));
    for (const auto& r : m->FLEmpfaenger)
        out(RecipientKindText(r->FEmpfType) + QStringLiteral(": ") + shown(r->FAdresse));
    for (const auto& a : m->FLAnhaengeBlob)
        out(Tx(1972, "Anhang") + QStringLiteral(": ") + shown(a->FPfad)
            + QStringLiteral(" (%1 Bytes)").arg(static_cast<qint64>(a->FDateigroesse)));
    out(QString());
    out(VisibleControlCharacters(m->FBodyPlain, true));
    return ExitOk;
}

int RunDelete(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("delete"), Tx(2007, "Löscht eine gesendete E-Mail oder einen Entwurf."));
    if (auto done = parseMailCommand(cmd, args))
        return *done;
    openInstallation(options);
    const int id = MailId(cmd.Parser().positionalArguments());
    TDatenModul& store = openStore();
    findMail(store, id);
    store.DeleteEMail(id);
    out(Tx(2008, "E-Mail %1 gelöscht.").arg(id));
    return ExitOk;
}

}  // namespace kalvex::cli
