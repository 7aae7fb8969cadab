#include "compose/SpellDictionary.h"

// What the dictionaries offer with and without Hunspell alike; the loading
// itself is in SpellDictionary.cpp (Hunspell) or SpellDictionaryOff.cpp.

namespace kalvex {

std::shared_ptr<const THunspellDictionary> TSpellDictionaries::Shared(const QString& folder, const QString& language)
{
    return instance().get(folder, language);
}

QString TSpellDictionaries::LanguageOf(int langCode)
{
    return langCode == 1033 ? QStringLiteral("en_US") : QStringLiteral("de_DE");
}

TSpellDictionaries& TSpellDictionaries::instance()
{
    static TSpellDictionaries dictionaries;
    return dictionaries;
}

}  // namespace kalvex
