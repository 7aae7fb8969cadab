#include "StopSignals.h"

#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <cstdio>

namespace kalvex::cli {

void TStopSignals::requestStop()
{
    if (FStopRequested)
        return;
    FStopRequested = true;
    const QString text = Tx(4205, "Abbruch angefordert: die E-Mail, die gerade gesendet wird, wird noch fertig "
                                  "gesendet, dann endet der Versand. Ein zweites Strg+C beendet sofort.");
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    std::fflush(stderr);
    TLogFile::LogGlobal(true, QStringLiteral("kalvex send - Abbruch durch Signal angefordert"));
}

}  // namespace kalvex::cli
