#pragma once
// The version-1 stream primitives shared by every boundary record: 4-byte
// little-endian integers, 1-byte booleans, 8-byte IEEE doubles, UTF-8
// strings behind a byte count, GUIDs as braced text, translation lists.
//
// The reader never trusts a count: a string longer than the bytes left, a
// negative count or a count larger than the remaining bytes could hold
// raises EKalvex with a German message before anything is allocated.

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <cstdint>

namespace kalvex {

class TStreamWriter {
public:
    void WriteInteger(int32_t value);
    void WriteBoolean(bool value);
    void WriteDouble(double value);
    void WriteString(const QString& value);
    void WriteBytes(const QByteArray& value);  // Integer count + raw bytes
    void WriteGUID(const QUuid& value);

    const QByteArray& Data() const { return FData; }
    QByteArray TakeData() { return std::move(FData); }

private:
    void appendRaw(const void* data, qsizetype size) { FData.append(static_cast<const char*>(data), size); }
    QByteArray FData;
};

class TStreamReader {
public:
    // The reader does not own the bytes; they must outlive it.
    TStreamReader(const char* data, qsizetype size) : FData(data), FSize(size) {}
    explicit TStreamReader(const QByteArray& data) : TStreamReader(data.constData(), data.size()) {}

    int32_t ReadInteger();
    bool ReadBoolean();
    double ReadDouble();
    QString ReadString();
    QByteArray ReadBytes();
    QUuid ReadGUID();
    // A count of records that each need at least minRecordSize bytes.
    int32_t ReadCount(qsizetype minRecordSize);

    qsizetype Position() const { return FPos; }
    qsizetype Remaining() const { return FSize - FPos; }
    bool AtEnd() const { return FPos >= FSize; }

private:
    const char* take(qsizetype size);
    qsizetype readLength();

    const char* FData;
    qsizetype FSize;
    qsizetype FPos = 0;
};

// The record format version that every record begins with.
constexpr int32_t KStreamVersion = 1;

// Braced upper-case registry form: {0F637C8A-F91A-4C32-822D-B6D1697C9146}.
QString GuidToString(const QUuid& guid);
// Parses the braced (or bare) form in either case; raises EKalvex when the
// text is not a GUID.
QUuid StringToGuid(const QString& text);

}  // namespace kalvex
