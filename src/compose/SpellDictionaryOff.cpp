// A build without Hunspell (the Windows build): no dictionary loads, so the
// editors check nothing; the rest of the spelling layer stays as it is.
#include "compose/SpellDictionary.h"

#include "config/LogFileUnit.h"

// Never made here: only the owning pointer's type needs it complete.
class Hunspell {};

namespace kalvex {

std::unique_ptr<THunspellDictionary> THunspellDictionary::Load(const QString&, const QString&)
{
    return nullptr;
}

THunspellDictionary::THunspellDictionary(std::unique_ptr<Hunspell> hunspell) : FHunspell(std::move(hunspell)) {}

THunspellDictionary::~THunspellDictionary() = default;

bool THunspellDictionary::Spell(const QString&) const
{
    return true;
}

QStringList THunspellDictionary::Suggest(const QString&, int) const
{
    return {};
}

QString THunspellDictionary::Encoding() const
{
    return QString::fromLatin1(FEncoding);
}

std::shared_ptr<const THunspellDictionary> TSpellDictionaries::get(const QString& folder, const QString& language)
{
    const QString key = folder + QLatin1Char('/') + language;
    if (!FLoaded.contains(key)) {
        TLogFile::LogGlobal(true, QStringLiteral("Rechtschreibprüfung aus: ohne Hunspell gebaut"));
        FLoaded.insert(key, nullptr);
    }
    return nullptr;
}

}  // namespace kalvex
