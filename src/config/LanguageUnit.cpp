#include "config/LanguageUnit.h"

#include <QDir>
#include <QFileInfo>

namespace kalvex {

namespace {

std::unique_ptr<TLang>& globalLang()
{
    static std::unique_ptr<TLang> lang;
    return lang;
}

}  // namespace

int TUnitLang::Add(const QString& de, const QString& en, int id)
{
    if (id < 0) {
        for (const TTrans& t : prTexts)
            if (t.prStrDE == de && t.prStrEN == en)
                return -1;
        id = prIntMaxID + 1;
    }
    if (prTexts.contains(id))
        return -1;
    prTexts.insert(id, TTrans{de, en});
    prIntMaxID = std::max(prIntMaxID, id);
    return id;
}

const TTrans* TUnitLang::Find(int id) const
{
    const auto it = prTexts.constFind(id);
    return it == prTexts.constEnd() ? nullptr : &*it;
}

TLang::TLang(const QString& folder) : prStrFile(folder)
{
    const QString sqlite = QDir(folder).filePath(QStringLiteral("DllsLang.db3"));
    const QString access = QDir(folder).filePath(QStringLiteral("DllsLang.mdb"));
    if (QFileInfo::exists(sqlite))
        loadDatabase(sqlite);
    else if (QFileInfo::exists(access))
        loadDatabase(access);
}

void TLang::loadDatabase(const QString& /*fileName*/)
{
    // Filled in with the translation database reader.
}

void TLang::SetLanguage(int langCode)
{
    prCurrLanguage = langCode == 1033 ? TLanguages::lEN : TLanguages::lDE;
}

int TLang::GetCurrentLangCode() const
{
    switch (prCurrLanguage) {
    case TLanguages::lDE: return 1031;
    case TLanguages::lEN: return 1033;
    }
    return 0;
}

int TLang::Add(const QString& department, const QString& de, const QString& en, int id)
{
    return prDicLang[department].Add(de, en, id);
}

QString TLang::Translate(const QString& department, int id, const QString& fallback) const
{
    const auto unit = prDicLang.constFind(department);
    if (unit == prDicLang.constEnd())
        return fallback;
    const TTrans* t = unit->Find(id);
    if (!t)
        return fallback;
    if (prCurrLanguage == TLanguages::lEN && !t->prStrEN.isEmpty())
        return t->prStrEN;
    return t->prStrDE.isEmpty() ? fallback : t->prStrDE;
}

int TLang::TextCount() const
{
    int n = 0;
    for (const TUnitLang& u : prDicLang)
        n += u.MaxID() > 0 ? 1 : 0;
    return n;
}

TLang* TLang::Instance()
{
    return globalLang().get();
}

TLang& TLang::Install(std::unique_ptr<TLang> lang)
{
    globalLang() = std::move(lang);
    return *globalLang();
}

void TLang::Free()
{
    globalLang().reset();
}

QString Tx(int id, const QString& german)
{
    const TLang* lang = TLang::Instance();
    return lang ? lang->Translate(QString::fromLatin1(TLang::Department), id, german) : german;
}

QString Tx(int id, const char* german)
{
    return Tx(id, QString::fromUtf8(german));
}

}  // namespace kalvex
