#include "entry/LastError.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <exception>
#include <new>
#include <string>

namespace kalvex {

namespace {

thread_local std::u16string tLastError;

}  // namespace

void ClearLastError()
{
    tLastError.clear();
}

void SetLastError(const QString& message)
{
    tLastError.assign(reinterpret_cast<const char16_t*>(message.utf16()), static_cast<size_t>(message.size()));
}

QString LastErrorText()
{
    return QString::fromUtf16(tLastError.data(), static_cast<qsizetype>(tLastError.size()));
}

const kx_char16* LastErrorPointer()
{
    return reinterpret_cast<const kx_char16*>(tLastError.c_str());   // WCHAR on Windows, the same 16 bits
}

void ReportException() noexcept
{
    try {
        throw;
    } catch (const EKalvex& e) {
        SetLastError(e.message());
    } catch (const std::bad_alloc&) {
        SetLastError(Tx(1810, "Nicht genügend Arbeitsspeicher."));
    } catch (const std::exception& e) {
        SetLastError(QString::fromUtf8(e.what()));
    } catch (...) {
        SetLastError(Tx(1811, "Unbekannter Fehler im E-Mail-Modul."));
    }
    try {
        TLogFile::LogGlobal(false, LastErrorText());
    } catch (...) {
        // logging is best effort at the boundary
    }
}

}  // namespace kalvex
