#pragma once
// The recipient fields of a personal circular: <Empfaenger.Name> and its
// kin (English names in the English interface), filled per mail of a
// separate run from what is known of that recipient, and the letter
// salutation that German business letters open with.

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <cstdint>

namespace kalvex {

// Stored as an integer (KVXAdresse.Anrede): 0 is "not recorded".
enum class TAnrede : int32_t { anKeine = 0, anFrau = 1, anHerr = 2, anDivers = 3 };

// What is known of one recipient. Extra holds further fields by name (the
// columns of a recipient file that are none of the known ones).
struct TRecipientPerson {
    TAnrede anrede = TAnrede::anKeine;
    QString title;
    QString firstName;
    QString lastName;
    QString fullName;
    QString company;
    QString email;
    QList<QPair<QString, QString>> extra;
    QStringList attachments;   // files for this recipient only
    // Why this recipient must not get the mail (a file of theirs was
    // refused); empty when nothing stands against it.
    QString refusal;
};

// "Frau", "Herr", "Ms", "Mrs", "Mr", "divers", … in any case; anKeine else.
TAnrede AnredeFromText(const QString& text);
QString AnredeText(TAnrede anrede);   // "Frau", "Herr", "divers/keine Angabe", empty
// Splits a full name ("Dr. Anna Schäfer") where first and last name are
// not recorded apart: leading academic titles, the last word as last name.
void SplitFullName(TRecipientPerson& person);

// "Sehr geehrte Frau Dr. Schäfer,", "Guten Tag Anna Schäfer,", "Sehr
// geehrte Damen und Herren," when no person is known; in the current
// language.
QString Briefanrede(const TRecipientPerson& person);

// One entry of the compose page's field list.
struct TFieldEntry {
    QString name;          // without the angle brackets: "Empfaenger.Name"
    QString value;         // what the placeholder becomes
    QString description;
};

// The recipient fields with the values of person (or empty values), in
// the current language's names.
QList<TFieldEntry> RecipientFieldList(const TRecipientPerson* person);
// Every value of a person by field name folded to lower case, under the
// German and the English name: "empfaenger.name", "recipient.name", …
QList<QPair<QString, QString>> RecipientFieldValues(const TRecipientPerson& person);
// True when text holds a recipient placeholder (German or English name),
// also where an HTML writer turned its brackets into &lt; &gt;.
bool ContainsRecipientField(const QString& text);
// The placeholders of text that are recipient fields, as written.
QStringList RecipientFieldsIn(const QString& text);

}  // namespace kalvex
