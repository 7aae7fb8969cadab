#pragma once
// A plausibility check of e-mail addresses as users type them: one "@",
// a local part and a domain with a dot, no blanks, no control characters.
// It does not try to accept every address RFC 5321 allows; it refuses what
// would break a header or an SMTP command.

#include <QString>

namespace kalvex {

bool IsValidEMailAddress(const QString& address);

}  // namespace kalvex
