#pragma once
// The method table that the host sees: one C function per slot, each
// forwarding to TMail with the boundary conversions and the error channel.

#include "kalvex/kalvex.h"

#include <QString>
#include <QUuid>

namespace kalvex {

const iEMailV6Vtbl* MailInterfaceVtbl();

QString TextFromHost(const kx_char16* text);   // null is the empty text; lone surrogates become U+FFFD
QUuid GuidFromHost(const KGUID* guid);         // null raises EKalvex
KGUID GuidToHost(const QUuid& guid);
bool IsKnownInterface(const KGUID& iid);

}  // namespace kalvex
