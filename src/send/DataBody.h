#pragma once
// The message as the DATA command carries it (RFC 5321 4.5.2): literal
// parts with a "." doubled at the start of any line, attachment files read
// in chunks and written as base64 lines (which never start with "."), and
// the line that ends the data. Files are read as the socket takes the
// bytes, so the body never sits in memory whole.

#include "send/MimeBuilder.h"

#include <QByteArray>
#include <QFile>
#include <memory>
#include <vector>

namespace kalvex {

class TDataBody {
public:
    TDataBody() = default;
    explicit TDataBody(std::vector<TMimeSegment> message) : FMessage(std::move(message)) {}

    // Back to the start: every transaction sends the whole message.
    void Rewind();
    // The next bytes to write; empty when the body is done. Raises EKalvex
    // when an attachment cannot be read.
    QByteArray Next();
    // "." alone on its line: after a line break, or after one of its own.
    QByteArray EndLine() const;
    // Bytes of the message produced so far (before dot-stuffing), for the
    // progress display.
    qint64 Produced() const { return FProduced; }

private:
    QByteArray nextPiece();

    std::vector<TMimeSegment> FMessage;
    size_t FSegment = 0;
    std::unique_ptr<QFile> FFile;   // the attachment being read; closed at its end
    bool FAtLineStart = true;
    bool FPieceEncoded = false;     // the last piece was base64 lines
    qint64 FProduced = 0;
};

}  // namespace kalvex
