// Feeds arbitrary text to the address parser. Whatever it accepts must be
// safe for SMTP and headers (no control character, no line break), must
// read back the same from its written form, and the address header built
// from it may only break lines by folding.

#include "mailinterface/MailAddress.h"
#include "send/MimeBuilder.h"

#include <cstdint>
#include <cstdlib>

using namespace kalvex;

namespace {

void checkMailbox(const TMailbox& m)
{
    for (QChar c : m.Address())
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c.category() == QChar::Other_Format)
            std::abort();
    if (m.Address().toUtf8().size() > 254)
        std::abort();
    const auto again = ParseMailbox(m.ToString());
    if (!again || again->Address() != m.Address() || again->displayName != m.displayName)
        std::abort();
    if (m.LocalPartIsAscii() && m.AceAddress().toUtf8().size() != m.AceAddress().size())
        std::abort();
}

void checkHeader(const std::vector<TMailbox>& list)
{
    const QByteArray header = AddressHeader("To", list);
    if (!header.endsWith("\r\n"))
        std::abort();
    const QByteArray body = header.chopped(2);
    for (qsizetype i = 0; i < body.size(); ++i) {
        const char c = body[i];
        const bool fold = c == '\r' && i + 2 < body.size() && body[i + 1] == '\n' && body[i + 2] == ' ';
        if ((c == '\r' && !fold) || (c == '\n' && (i == 0 || body[i - 1] != '\r')) || c == '\0')
            std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (const auto m = ParseMailbox(text))
        checkMailbox(*m);
    const TAddressList list = ParseAddressList(text);
    if (list.valid != list.invalid.isEmpty())
        std::abort();
    for (const TMailbox& m : list.mailboxes)
        checkMailbox(m);
    if (list.valid && !list.mailboxes.empty())
        checkHeader(list.mailboxes);
    return 0;
}
