#include "ConsoleMessages.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <cstdio>

namespace kalvex {

namespace {

void printLine(const QString& prefix, const QString& text)
{
    std::fprintf(stderr, "%s%s\n", prefix.toUtf8().constData(), text.toUtf8().constData());
    std::fflush(stderr);
}

}  // namespace

void TConsoleMessages::ShowError(const QString& text)
{
    ++FErrors;
    printLine(Tx(1870, "Fehler: "), text);
}

void TConsoleMessages::ShowInformation(const QString& text)
{
    printLine(QString(), text);
}

bool TConsoleMessages::AskYesNo(const QString& text)
{
    printLine(Tx(1871, "Frage: "), text);
    if (!FAnswer)
        throw EKalvex(Tx(1872, "Die Frage kann ohne Fenster nicht beantwortet werden: geben Sie --yes oder --no an."));
    printLine(QString(), *FAnswer ? Tx(1830, "Ja") : Tx(1831, "Nein"));
    return *FAnswer;
}

}  // namespace kalvex
