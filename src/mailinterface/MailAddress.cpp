#include "mailinterface/MailAddress.h"

#include <QRegularExpression>

namespace kalvex {

bool IsValidEMailAddress(const QString& address)
{
    static const QRegularExpression pattern(
        QStringLiteral(R"(^[^\s@<>()\[\],;:"\\]+@[^\s@<>()\[\],;:"\\]+\.[^\s@<>()\[\],;:"\\.]{2,}$)"),
        QRegularExpression::UseUnicodePropertiesOption);
    for (QChar c : address)
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            return false;
    return address.size() <= 254 && pattern.match(address).hasMatch() && !address.contains(QLatin1String(".."));
}

}  // namespace kalvex
