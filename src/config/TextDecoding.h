#pragma once
// Text files written by other programs: UTF-8 (with or without BOM) when the
// bytes are valid UTF-8, else Windows-1252, the code page German Windows
// programs write.

#include <QByteArray>
#include <QString>

namespace kalvex {

QString DecodeTextFileBytes(const QByteArray& bytes);
QString FromWindows1252(const QByteArray& bytes);

}  // namespace kalvex
