#pragma once
// One recipient, whichever way the address was written: the key under which
// recipient lists find duplicates in a hash set, so that a list of any
// length is checked in one pass.

#include <QString>

namespace kalvex {

// The bare address of an entry ("Name <a@x>" gives "a@x"), case-folded, an
// IDNA domain in its Unicode form. Text that is no mailbox is its own key
// (trimmed, case-folded), so two equal wrong entries still meet.
//
// The domain is case-insensitive by definition. The local part may be
// case-sensitive on paper, but no mailbox provider in use treats it so and
// mail programs fold it when they look for duplicates: "Anna@x" and
// "anna@x" are one recipient, who should get one mail.
QString RecipientKey(const QString& entry);

}  // namespace kalvex
