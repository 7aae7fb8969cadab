#pragma once
// Hand assembly of stream bytes, independent of the module's writer.

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstring>

namespace testbytes {

inline QByteArray i32(int32_t v)
{
    QByteArray b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[i] = static_cast<char>((static_cast<uint32_t>(v) >> (8 * i)) & 0xFF);
    return b;
}

inline QByteArray str(const QByteArray& utf8)
{
    return i32(static_cast<int32_t>(utf8.size())) + utf8;
}

inline QByteArray str(const char* utf8)
{
    return str(QByteArray(utf8));
}

inline QByteArray f64(double v)
{
    QByteArray b(8, '\0');
    std::memcpy(b.data(), &v, 8);  // this machine is little-endian like the format
    return b;
}

inline QByteArray boolean(bool v)
{
    return QByteArray(1, v ? '\1' : '\0');
}

}  // namespace testbytes
