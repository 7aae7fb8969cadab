#pragma once
// What both command-line programs do before Qt starts.

#include <QStringList>

namespace kalvex::cli {

QStringList ArgumentsOf(int argc, char** argv);   // without the program name
// The local time zone file is read once: without TZ the GNU C library
// checks /etc/localtime again for every date a list shows.
void KeepLocalTimeZone();

}  // namespace kalvex::cli
