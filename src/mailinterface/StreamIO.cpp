#include "mailinterface/StreamIO.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QStringDecoder>
#include <QtEndian>
#include <cstring>

namespace kalvex {

namespace {

[[noreturn]] void throwTruncated(qsizetype position)
{
    throw EKalvex(Tx(1800, "Der Datenstrom ist unvollständig (Position %1).").arg(position));
}

bool isAscii(const char* data, qsizetype size)
{
    for (qsizetype i = 0; i < size; ++i)
        if (static_cast<unsigned char>(data[i]) >= 0x80)
            return false;
    return true;
}

QString decodeUtf8(const char* data, qsizetype size, qsizetype position)
{
    if (isAscii(data, size))
        return QString::fromLatin1(data, size);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(QByteArrayView(data, size));
    if (decoder.hasError())
        throw EKalvex(Tx(1801, "Der Datenstrom enthält ungültigen UTF-8-Text (Position %1).").arg(position));
    return text;
}

bool isZeroGuidText(QLatin1StringView text)
{
    return text == QLatin1StringView("{00000000-0000-0000-0000-000000000000}")
        || text == QLatin1StringView("00000000-0000-0000-0000-000000000000");
}

}  // namespace

void TStreamWriter::WriteInteger(int32_t value)
{
    const int32_t le = qToLittleEndian(value);
    appendRaw(&le, sizeof le);
}

void TStreamWriter::WriteBoolean(bool value)
{
    const char b = value ? 1 : 0;
    appendRaw(&b, 1);
}

void TStreamWriter::WriteDouble(double value)
{
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    bits = qToLittleEndian(bits);
    appendRaw(&bits, sizeof bits);
}

void TStreamWriter::WriteString(const QString& value)
{
    WriteBytes(value.toUtf8());
}

void TStreamWriter::WriteBytes(const QByteArray& value)
{
    WriteInteger(static_cast<int32_t>(value.size()));
    FData.append(value);
}

void TStreamWriter::WriteGUID(const QUuid& value)
{
    const QByteArray text = value.toByteArray(QUuid::WithBraces).toUpper();
    WriteInteger(static_cast<int32_t>(text.size()));
    FData.append(text);
}

const char* TStreamReader::take(qsizetype size)
{
    if (size < 0 || size > Remaining())
        throwTruncated(FPos);
    const char* p = FData + FPos;
    FPos += size;
    return p;
}

int32_t TStreamReader::ReadInteger()
{
    return qFromLittleEndian<int32_t>(take(4));
}

bool TStreamReader::ReadBoolean()
{
    return *take(1) != 0;
}

double TStreamReader::ReadDouble()
{
    const uint64_t bits = qFromLittleEndian<uint64_t>(take(8));
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

qsizetype TStreamReader::readLength()
{
    const qsizetype at = FPos;
    const int32_t n = ReadInteger();
    if (n < 0)
        throw EKalvex(Tx(1802, "Der Datenstrom enthält eine ungültige Länge %1 (Position %2).").arg(n).arg(at));
    if (n > Remaining())
        throwTruncated(at);
    return n;
}

QString TStreamReader::ReadString()
{
    const qsizetype n = readLength();
    const qsizetype at = FPos;
    return decodeUtf8(take(n), n, at);
}

QByteArray TStreamReader::ReadBytes()
{
    const qsizetype n = readLength();
    return QByteArray(take(n), n);
}

QUuid TStreamReader::ReadGUID()
{
    const qsizetype n = readLength();
    const qsizetype at = FPos;
    const QLatin1StringView text(take(n), n);
    const QUuid guid = QUuid::fromString(text);
    if (guid.isNull() && !isZeroGuidText(text))
        throw EKalvex(Tx(1803, "Der Datenstrom enthält keine gültige GUID (Position %1).").arg(at));
    return guid;
}

int32_t TStreamReader::ReadCount(qsizetype minRecordSize)
{
    const qsizetype at = FPos;
    const int32_t n = ReadInteger();
    if (n < 0 || (minRecordSize > 0 && n > Remaining() / minRecordSize))
        throw EKalvex(Tx(1804, "Der Datenstrom enthält eine ungültige Anzahl %1 (Position %2).").arg(n).arg(at));
    return n;
}

QString GuidToString(const QUuid& guid)
{
    return guid.toString(QUuid::WithBraces).toUpper();
}

QUuid StringToGuid(const QString& text)
{
    const QString t = text.trimmed();
    const QUuid guid = QUuid::fromString(t);
    if (guid.isNull() && !isZeroGuidText(QLatin1StringView(t.toLatin1())))
        throw EKalvex(Tx(1805, "\"%1\" ist keine gültige GUID.").arg(text));
    return guid;
}

}  // namespace kalvex
