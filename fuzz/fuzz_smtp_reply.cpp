// Feeds arbitrary server bytes to the SMTP reply parser, once whole and once
// in pieces whose sizes the input chooses: both must give the same replies
// and the same end, every reply must have a valid code and stay within the
// caps, and the sanitised text must hold no control character.

#include "send/SmtpReply.h"

#include <cstdint>
#include <cstdlib>

using namespace kalvex;

namespace {

struct Outcome {
    QList<TSmtpReply> replies;
    TSmtpReplyParser::Result end = TSmtpReplyParser::Result::NeedMore;
};

void check(const TSmtpReply& r)
{
    if (r.code < 200 || r.code > 599 || r.lines.isEmpty() || r.lines.size() > TSmtpReplyParser::kMaxLines)
        std::abort();
    for (QChar c : r.Sanitized())
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.category() == QChar::Other_Format)
            std::abort();
}

// Takes every reply there is; false once the parser has stopped.
bool drain(TSmtpReplyParser& parser, Outcome& out)
{
    TSmtpReply reply;
    for (;;) {
        const auto result = parser.Next(reply);
        if (result == TSmtpReplyParser::Result::NeedMore)
            return true;
        if (result != TSmtpReplyParser::Result::Reply) {
            out.end = result;
            return false;
        }
        check(reply);
        out.replies << reply;
    }
}

Outcome parse(const QByteArray& bytes, const uint8_t* sizes, size_t sizeCount)
{
    TSmtpReplyParser parser;
    Outcome out;
    qsizetype pos = 0;
    for (size_t i = 0; pos < bytes.size(); ++i) {
        const qsizetype n = sizeCount ? 1 + sizes[i % sizeCount] : bytes.size();
        parser.Feed(bytes.mid(pos, n));
        pos += n;
        if (!drain(parser, out))
            break;
    }
    return out;
}

// An over-long line without its end is "too large" in pieces before its
// code can be judged, so that end may stand for "malformed" in one go.
bool same(const Outcome& a, const Outcome& b)
{
    const bool tooLarge = a.end == TSmtpReplyParser::Result::TooLarge || b.end == TSmtpReplyParser::Result::TooLarge;
    if ((a.end != b.end && !tooLarge) || a.replies.size() != b.replies.size())
        return false;
    for (qsizetype i = 0; i < a.replies.size(); ++i)
        if (a.replies[i].code != b.replies[i].code || a.replies[i].lines != b.replies[i].lines)
            return false;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const size_t sizeCount = std::min<size_t>(data[0] % 8, size - 1);
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1 + sizeCount), static_cast<qsizetype>(size - 1 - sizeCount));
    const Outcome whole = parse(bytes, nullptr, 0);
    const Outcome pieces = parse(bytes, data + 1, sizeCount);
    if (!same(whole, pieces))
        std::abort();
    return 0;
}
