#include "config/LanguageUnit.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include "config/AppPaths.h"
#include "config/InterfaceLocale.h"
#include "config/LogFileUnit.h"

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

TLang::TLang(const QString& folder) : prStrFile(folder), prDatabase(DatabaseFor(folder))
{
    if (!prDatabase.isEmpty())
        loadDatabase(prDatabase);
}

QString TLang::DatabaseFor(const QString& folder)
{
    const QString sqlite = QDir(folder).filePath(QStringLiteral("DllsLang.db3"));
    const QString access = QDir(folder).filePath(QStringLiteral("DllsLang.mdb"));
    if (QFileInfo::exists(sqlite))
        return sqlite;
    if (QFileInfo::exists(access))
        return access;
    return ModuleDataFile(QStringLiteral("DllsLang.db3"));   // the copy installed with the module, if any
}

// The translation file is shared with other modules of the family: it is
// opened read-only under a connection name of its own.
void TLang::loadDatabase(const QString& fileName)
{
    if (!fileName.endsWith(QLatin1String(".db3"))) {
        TLogFile::LogGlobal(false, QStringLiteral("TLang: %1 kann hier nicht gelesen werden (nur DllsLang.db3)").arg(fileName));
        return;
    }
    static int counter = 0;
    const QString connection = QStringLiteral("kalvex-lang-%1").arg(++counter);
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(fileName);
        db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        QSqlQuery q(db);
        if (!db.open() || !q.exec(QStringLiteral("SELECT [Departments].[DeName], [De_La].[Cntrl_ID], [Labels].[DE], [Labels].[EN] FROM ([Departments] INNER JOIN [De_La] ON [Departments].[ID] = [De_La].[Department_ID]) INNER JOIN [Labels] ON [De_La].[Label_ID] = [Labels].[ID]"))) {
            prLoadError = QStringLiteral("Der Datenbankhandler konnte nicht erstellt werden!\r\n\r\n")
                        + (q.lastError().isValid() ? q.lastError().text() : db.lastError().text());
            TLogFile::LogGlobal(false, prLoadError);
        } else {
            while (q.next())
                Add(q.value(0).toString(), q.value(2).toString(), q.value(3).toString(), q.value(1).toInt());
        }
    }
    QSqlDatabase::removeDatabase(connection);
}

void TLang::SetLanguage(int langCode)
{
    prCurrLanguage = langCode == 1033 ? TLanguages::lEN : TLanguages::lDE;
    if (this == Instance())
        UseQtCatalogues(GetCurrentLangCode());
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
        n += u.Count();
    return n;
}

TLang* TLang::Instance()
{
    return globalLang().get();
}

TLang& TLang::Install(std::unique_ptr<TLang> lang)
{
    globalLang() = std::move(lang);
    UseQtCatalogues(globalLang()->GetCurrentLangCode());
    return *globalLang();
}

void TLang::Free()
{
    globalLang().reset();
    UseQtCatalogues(0);   // the host's own texts again
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
