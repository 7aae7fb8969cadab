#include "ui/Spelling.h"

#include "compose/SpellChecker.h"
#include "compose/SpellDictionary.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"

#include <QAction>
#include <QFont>
#include <QMenu>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("Darstellung");
const QString kKey = QStringLiteral("Rechtschreibpruefung");

int interfaceLanguage()
{
    if (const TLang* lang = TLang::Instance())
        return lang->GetCurrentLangCode();
    return TConfig::Instance() ? TConfig::Instance()->FCurrLangCode : 1031;
}

QString wordListFile()
{
    const TConfig* config = TConfig::Instance();
    return config ? config->IniFolder() + QStringLiteral("Benutzerwoerterbuch.txt") : QString();
}

void rememberEnabled(bool enabled)
{
    if (const TConfig* config = TConfig::Instance())
        SaveSpellingEnabled(config->ConfigIniFileName(), enabled);
}

QList<QAction*> suggestionActions(QMenu& menu, const QStringList& suggestions, const std::function<void(QString)>& take)
{
    QList<QAction*> actions;
    for (const QString& s : suggestions) {
        auto* action = new QAction(s, &menu);
        QFont bold = action->font();
        bold.setBold(true);
        action->setFont(bold);
        QObject::connect(action, &QAction::triggered, &menu, [take, s] { take(s); });
        actions << action;
    }
    if (actions.isEmpty()) {
        actions << new QAction(Tx(3303, "(Keine Vorschläge)"), &menu);
        actions.last()->setEnabled(false);
    }
    return actions;
}

QAction* wordAction(QMenu& menu, const QString& text, std::function<void()> handler)
{
    auto* action = new QAction(text, &menu);
    QObject::connect(action, &QAction::triggered, &menu, std::move(handler));
    return action;
}

void insertWordActions(QMenu& menu, TSpellChecker& checker, const QString& word,
                       const std::function<void(QString)>& take)
{
    QList<QAction*> actions = suggestionActions(menu, checker.Suggestions(word), take);
    actions << wordAction(menu, Tx(3301, "Zum Wörterbuch hinzufügen"), [&checker, word] { checker.AddToWordList(word); });
    actions << wordAction(menu, Tx(3302, "Ignorieren"), [&checker, word] { checker.Ignore(word); });
    QAction* first = menu.actions().value(0);
    menu.insertActions(first, actions);
    if (first)
        menu.insertSeparator(first);
}

void addSwitch(QMenu& menu, TSpellChecker& checker)
{
    menu.addSeparator();
    QAction* toggle = menu.addAction(Tx(3300, "Rechtschreibprüfung"));
    toggle->setObjectName(QStringLiteral("spellToggle"));
    toggle->setCheckable(true);
    toggle->setChecked(checker.Enabled());
    QObject::connect(toggle, &QAction::toggled, &checker, [&checker](bool on) {
        checker.SetEnabled(on);
        rememberEnabled(on);
    });
}

}  // namespace

TSpellChecker* CreateSpellChecker(QObject* window)
{
    const QString language = TSpellDictionaries::LanguageOf(interfaceLanguage());
    auto* checker = new TSpellChecker(TSpellDictionaries::Shared(TSpellDictionaries::DefaultFolder, language),
                                      wordListFile(), window);
    if (const TConfig* config = TConfig::Instance())
        checker->SetEnabled(SpellingEnabledIn(config->ConfigIniFileName()));
    return checker;
}

bool SpellingEnabledIn(const QString& configIni)
{
    return TIniFile(configIni).ReadBool(kSection, kKey, true);
}

void SaveSpellingEnabled(const QString& configIni, bool enabled)
{
    try {
        TIniFile(configIni).WriteBool(kSection, kKey, enabled);
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, QStringLiteral("SaveSpellingEnabled: ") + e.message());
    }
}

void AddSpellingActions(QMenu& menu, TSpellChecker& checker, const QString& text, int position,
                        const TReplaceWord& replace)
{
    if (!checker.Available())
        return;
    TWordSpan span;
    if (checker.Active() && CheckableWordAt(text, position, span)) {
        const QString word = text.mid(span.start, span.length);
        if (!checker.IsCorrect(word))
            insertWordActions(menu, checker, word, [replace, span](const QString& s) { replace(span, s); });
    }
    addSwitch(menu, checker);
}

}  // namespace kalvex
