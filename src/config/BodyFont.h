#pragma once
// The font a new mail body is written in, unless the user picks another:
// what the recipient's program shows for text without a font of its own.

#include <QFont>

namespace kalvex {

inline QFont DefaultBodyFont()
{
    QFont font(QStringLiteral("Arial"));
    font.setPointSizeF(10);
    return font;
}

}  // namespace kalvex
