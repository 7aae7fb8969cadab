#include "compose/RecipientFields.h"

#include "config/LanguageUnit.h"

#include <QRegularExpression>

namespace kalvex {

namespace {

constexpr int kFieldCount = 7;
// Templates are matched under both names, whatever the interface language.
constexpr const char* kGermanNames[kFieldCount] = {"Anrede", "Name", "Vorname", "Nachname", "Firma", "EMail", "Briefanrede"};
constexpr const char* kEnglishNames[kFieldCount] = {"Salutation", "Name", "FirstName", "LastName", "Company", "EMail",
                                                    "LetterSalutation"};

QStringList localFieldNames()
{
    return {Tx(3401, "Anrede"), Tx(3402, "Name"), Tx(3403, "Vorname"), Tx(3404, "Nachname"),
            Tx(3405, "Firma"), Tx(3406, "EMail"), Tx(3407, "Briefanrede")};
}

QStringList fieldDescriptions()
{
    return {Tx(3408, "Anrede des Empfängers (Frau, Herr)"), Tx(3409, "Ganzer Name des Empfängers"),
            Tx(3410, "Vorname des Empfängers"), Tx(3411, "Nachname des Empfängers"),
            Tx(3412, "Firma des Empfängers"), Tx(3413, "E-Mail-Adresse des Empfängers"),
            Tx(3414, "Briefanrede, z. B. \"Sehr geehrte Frau Dr. Schäfer,\"")};
}

bool english()
{
    return TLang::Instance() && TLang::Instance()->GetCurrentLangCode() == 1033;
}

QString anredeValue(TAnrede anrede)
{
    return anrede == TAnrede::anDivers ? QString() : AnredeText(anrede);
}

QString nameOf(const TRecipientPerson& p)
{
    if (!p.fullName.trimmed().isEmpty())
        return p.fullName.simplified();
    return (p.title + QLatin1Char(' ') + p.firstName + QLatin1Char(' ') + p.lastName).simplified();
}

QStringList valuesOf(const TRecipientPerson& p)
{
    return {anredeValue(p.anrede), nameOf(p), p.firstName.trimmed(), p.lastName.trimmed(),
            p.company.trimmed(), p.email.trimmed(), Briefanrede(p)};
}

bool isTitleWord(const QString& word)
{
    return word.endsWith(QLatin1Char('.')) && word.size() > 2;
}

// <Empfaenger.X> or <Recipient.X>, also HTML-escaped; X without brackets.
const QRegularExpression& placeholderPattern()
{
    static const QRegularExpression re(QStringLiteral("(?:<|&lt;)(?:Empfaenger|Recipient)\\.[^<>&\\r\\n]{1,100}(?:>|&gt;)"),
                                       QRegularExpression::CaseInsensitiveOption);
    return re;
}

}  // namespace

TAnrede AnredeFromText(const QString& text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("frau") || t == QLatin1String("ms") || t == QLatin1String("mrs") || t == QLatin1String("ms.")
        || t == QLatin1String("mrs."))
        return TAnrede::anFrau;
    if (t == QLatin1String("herr") || t == QLatin1String("mr") || t == QLatin1String("mr."))
        return TAnrede::anHerr;
    if (t.startsWith(QLatin1String("divers")) || t == QLatin1String("keine angabe") || t == QLatin1String("diverse"))
        return TAnrede::anDivers;
    return TAnrede::anKeine;
}

QString AnredeText(TAnrede anrede)
{
    switch (anrede) {
    case TAnrede::anFrau: return Tx(3419, "Frau");
    case TAnrede::anHerr: return Tx(3420, "Herr");
    case TAnrede::anDivers: return Tx(3421, "divers/keine Angabe");
    case TAnrede::anKeine: break;
    }
    return QString();
}

// "Dr. Anna Schäfer" or "Schäfer, Anna"; names recorded apart stay.
void SplitFullName(TRecipientPerson& person)
{
    if (!person.firstName.isEmpty() || !person.lastName.isEmpty())
        return;
    const QString name = person.fullName.simplified();
    if (name.contains(QLatin1Char(','))) {
        person.lastName = name.section(QLatin1Char(','), 0, 0).trimmed();
        person.firstName = name.section(QLatin1Char(','), 1).trimmed();
        return;
    }
    QStringList words = name.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QStringList titles;
    while (words.size() > 1 && isTitleWord(words.first()))
        titles << words.takeFirst();
    if (person.title.isEmpty())
        person.title = titles.join(QLatin1Char(' '));
    if (!words.isEmpty())
        person.lastName = words.takeLast();
    person.firstName = words.join(QLatin1Char(' '));
}

// The academic title belongs to the German salutation only
// ("Frau Dr. Schäfer", "Ms Schäfer").
QString Briefanrede(const TRecipientPerson& p)
{
    const QString last = p.lastName.trimmed();
    if (last.isEmpty())
        return Tx(3417, "Sehr geehrte Damen und Herren,");
    const QString formal = english() ? last : (p.title + QLatin1Char(' ') + last).simplified();
    switch (p.anrede) {
    case TAnrede::anFrau: return Tx(3415, "Sehr geehrte Frau %1,").arg(formal);
    case TAnrede::anHerr: return Tx(3416, "Sehr geehrter Herr %1,").arg(formal);
    case TAnrede::anDivers:
    case TAnrede::anKeine: break;
    }
    return Tx(3418, "Guten Tag %1,").arg((p.firstName + QLatin1Char(' ') + last).simplified());
}

QList<TFieldEntry> RecipientFieldList(const TRecipientPerson* person)
{
    const QString prefix = Tx(3400, "Empfaenger") + QLatin1Char('.');
    const QStringList names = localFieldNames();
    const QStringList descriptions = fieldDescriptions();
    const QStringList values = person ? valuesOf(*person) : QStringList();
    QList<TFieldEntry> out;
    for (int i = 0; i < kFieldCount; ++i)
        out << TFieldEntry{prefix + names[i], values.value(i), descriptions[i]};
    if (person)
        for (const auto& [name, value] : person->extra)
            out << TFieldEntry{prefix + name, value, QString()};
    return out;
}

QList<QPair<QString, QString>> RecipientFieldValues(const TRecipientPerson& person)
{
    const QStringList values = valuesOf(person);
    QList<QPair<QString, QString>> out;
    for (const QString& prefix : {QStringLiteral("empfaenger."), QStringLiteral("recipient.")}) {
        for (const auto& [name, value] : person.extra)
            out << qMakePair(prefix + name.toLower(), value);
        for (int i = 0; i < kFieldCount; ++i) {
            out << qMakePair(prefix + QString::fromLatin1(kGermanNames[i]).toLower(), values[i]);
            out << qMakePair(prefix + QString::fromLatin1(kEnglishNames[i]).toLower(), values[i]);
        }
    }
    return out;
}

bool ContainsRecipientField(const QString& text)
{
    return placeholderPattern().match(text).hasMatch();
}

QStringList RecipientFieldsIn(const QString& text)
{
    QStringList out;
    auto it = placeholderPattern().globalMatch(text);
    while (it.hasNext()) {
        const QString found = it.next().captured(0);
        if (!out.contains(found, Qt::CaseInsensitive))
            out << found;
    }
    return out;
}

}  // namespace kalvex
