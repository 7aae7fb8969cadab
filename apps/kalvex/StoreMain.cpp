// kalvex on Linux: reads the store (list, show) with Qt's core and SQL
// layers only, which start in a fraction of the time the GUI layer needs;
// every other command line goes on to kalvex-full, the whole command line.

#include "CliCommands.h"
#include "FullProgram.h"
#include "ProgramStart.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    if (!kalvex::cli::ReadsStoreOnly(kalvex::cli::ArgumentsOf(argc, argv)))
        kalvex::cli::RunFullProgram(argv);
    kalvex::cli::KeepLocalTimeZone();
    std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);   // a list of ten thousand lines goes out in large writes
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kalvex"));
    return kalvex::cli::RunCommandLine(QCoreApplication::arguments().mid(1));
}
