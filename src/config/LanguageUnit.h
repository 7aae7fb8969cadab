#pragma once
// Translations of the module's texts. Every user-visible text is looked up
// under the department "Kalvex" and a numeric id; the German text given at
// the call site is the default and the fallback.
//
//     Tx(1018, "Es wurden keine Empfänger angegeben.")
//
// The process-wide TLang is created for each window-opening call and freed
// after it; without one (or without the id) the German text is used.

#include <QHash>
#include <QString>
#include <memory>

namespace kalvex {

enum class TLanguages : int { lDE = 0, lEN = 1 };

struct TTrans {
    QString prStrDE;
    QString prStrEN;
};

class TUnitLang {
public:
    // With id -1 the text gets the next free id. Returns the id used, or -1
    // when the id is taken or the same German text is already there.
    int Add(const QString& de, const QString& en, int id);
    const TTrans* Find(int id) const;
    int MaxID() const { return prIntMaxID; }
    int Count() const { return static_cast<int>(prTexts.size()); }

private:
    QHash<int, TTrans> prTexts;
    int prIntMaxID = 0;
};

class TLang {
public:
    static constexpr const char* Department = "Kalvex";

    TLang() = default;
    // Opens the translation database in folder (DllsLang.db3, else
    // DllsLang.mdb), else the module's own installed DllsLang.db3, and
    // loads every text; no database means no texts.
    explicit TLang(const QString& folder);
    // The database that TLang(folder) reads: empty when there is none.
    static QString DatabaseFor(const QString& folder);

    void SetLanguage(int langCode);   // 1031 German, 1033 English
    int GetCurrentLangCode() const;   // 1031, 1033, or 0
    TLanguages CurrentLanguage() const { return prCurrLanguage; }

    int Add(const QString& department, const QString& de, const QString& en, int id);
    // The text in the current language; German when English is missing;
    // fallback when the id is unknown.
    QString Translate(const QString& department, int id, const QString& fallback) const;
    int TextCount() const;
    const QString& Folder() const { return prStrFile; }
    const QString& Database() const { return prDatabase; }   // the one read; empty when none
    // Why the translation database could not be read, for the user; empty
    // when it was read or there is none (then the German texts are used).
    const QString& LoadError() const { return prLoadError; }

    // The process-wide instance (may be null). Its language also chooses
    // Qt's own catalogue (UseQtCatalogues); freeing it drops the catalogue.
    static TLang* Instance();
    static TLang& Install(std::unique_ptr<TLang> lang);
    static void Free();

private:
    void loadDatabase(const QString& fileName);

    QHash<QString, TUnitLang> prDicLang;
    TLanguages prCurrLanguage = TLanguages::lDE;
    QString prStrFile;
    QString prDatabase;
    QString prLoadError;
};

// Translation of a text of the module (department "Kalvex").
QString Tx(int id, const QString& german);
QString Tx(int id, const char* german);

}  // namespace kalvex
