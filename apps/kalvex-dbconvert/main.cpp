// kalvex-dbconvert -c "<kalvex.mdb>" "<kalvex.db>" [-ctCopyAutoIncAsautoinc]
// Exit codes: 0 converted, 1 conversion failed, 2 wrong arguments.

#include "config/KalvexError.h"
#include "db/convert/AccessConverter.h"

#include <QCoreApplication>
#include <cstdio>

using namespace kalvex;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const std::optional<TConvertArguments> args = ParseConvertArguments(app.arguments());
    if (!args) {
        std::fprintf(stderr, "Aufruf: kalvex-dbconvert -c \"<kalvex.mdb>\" \"<kalvex.db>\" [-ctCopyAutoIncAsautoinc]\n");
        return 2;
    }
    RegisterBuiltInStores();
    try {
        TAccessConverter(*args, [](const QString& line) {
            std::printf("%s\n", qPrintable(line));
            std::fflush(stdout);   // the waiting module shows each step as it comes
        }).Run();
    } catch (const EKalvex& e) {
        std::fprintf(stderr, "kalvex-dbconvert: %s\n", qPrintable(e.message()));
        return 1;
    }
    return 0;
}
