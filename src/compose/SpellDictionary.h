#pragma once
// A Hunspell dictionary (an .aff and a .dic file) behind QString words: the
// dictionary's own encoding (its SET line, UTF-8 or an 8-bit one such as
// ISO8859-1) is handled here, so callers never see Hunspell's bytes.
//
// Loading a dictionary takes a fifth of a second and some megabytes, so the
// loaded dictionaries are shared: TSpellDictionaries keeps one per folder and
// language for the whole process (created on first use, freed at unload).

#include <QHash>
#include <QString>
#include <QByteArray>
#include <QStringList>
#include <memory>

class Hunspell;

namespace kalvex {

class THunspellDictionary {
public:
    // Null when the .aff or the .dic file is missing.
    static std::unique_ptr<THunspellDictionary> Load(const QString& folder, const QString& language);
    ~THunspellDictionary();

    // A word the dictionary's encoding cannot hold counts as correct: it
    // cannot be judged, and a false alarm is worse than none.
    bool Spell(const QString& word) const;
    QStringList Suggest(const QString& word, int max) const;
    QString Encoding() const;

private:
    explicit THunspellDictionary(std::unique_ptr<Hunspell> hunspell);
    bool encode(const QString& word, std::string& out) const;
    QString decode(const std::string& bytes) const;

    std::unique_ptr<Hunspell> FHunspell;
    QByteArray FEncoding;   // a name QStringEncoder knows
};

// The process-wide cache of loaded dictionaries.
class TSpellDictionaries {
public:
    static constexpr const char* DefaultFolder = "/usr/share/hunspell";

    // The dictionary for language ("de_DE", "en_US") in folder; null when it
    // is not installed, which is written to the log once per folder and
    // language.
    static std::shared_ptr<const THunspellDictionary> Shared(const QString& folder, const QString& language);
    // "en_US" for 1033, "de_DE" for every other language code.
    static QString LanguageOf(int langCode);

private:
    static TSpellDictionaries& instance();
    std::shared_ptr<const THunspellDictionary> get(const QString& folder, const QString& language);

    QHash<QString, std::shared_ptr<const THunspellDictionary>> FLoaded;
};

}  // namespace kalvex
