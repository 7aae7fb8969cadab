// kalvex list, show and delete: the sent mails and drafts of the store,
// listed one a line, shown whole or deleted by their ID.
#include "CliStore.h"

#include "CliArguments.h"
#include "CliShared.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"
#include "db/uDatenModul.h"
#include "mailinterface/uMailInterface.h"
#include "send/ComposeModel.h"

#include <memory>
#include <optional>

namespace kalvex::cli {

namespace {

// Stored texts may hold terminal controls; they are shown, never obeyed.
QString shown(const QString& text)
{
    return VisibleControlCharacters(text);
}

QString mailLine(const TEMail& m)
{
    return QStringLiteral("%1\t%2\t%3\t%4\t%5")
        .arg(m.FID)
        .arg(shown(m.FStatusStr), DaysToDateTime(m.FDatum).toString(QStringLiteral("yyyy-MM-dd HH:mm")), shown(m.FBetreff),
             shown((m.FAn + m.FCc + m.FBcc).join(QStringLiteral(", "))));
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
