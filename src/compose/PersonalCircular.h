#pragma once
// A personal circular: the template mail's subject and bodies are split
// once at their recipient placeholders, so each recipient's mail is only
// joined from the pieces and that recipient's values.

#include "compose/RecipientFields.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <utility>
#include <vector>

namespace kalvex {

class TEMail;

// A text as the stretches between its recipient placeholders and the
// placeholders themselves.
struct TTextPieces {
    QStringList literals;         // one more than the placeholders
    std::vector<QString> keys;    // lower-case field name of each placeholder
    QStringList written;          // each placeholder as written

    void AppendLiteral(const QString& text);
    void Append(const TTextPieces& other);
};

// One text split at its recipient placeholders. Values are written in the
// text's own form: RTF escaped in RTF source, HTML escaped in HTML.
class TPersonalText {
public:
    enum class TForm { tfPlain, tfRtf, tfHtml };
    TPersonalText() = default;
    TPersonalText(const QString& text, TForm form);
    // values by lower-case field name ("empfaenger.name"); a placeholder
    // without a value stays as written.
    QString Merge(const QHash<QString, QString>& values) const;
    bool HasFields() const { return !FPieces.keys.empty(); }
    const TTextPieces& Pieces() const { return FPieces; }

private:
    QString encode(const QString& value) const;

    TForm FForm = TForm::tfPlain;
    TTextPieces FPieces;
    qsizetype FLiteralSize = 0;
};

// A recipient's values by lower-case field name, as Merge takes them.
QHash<QString, QString> RecipientValueTable(const TRecipientPerson& person);

class TPersonalCircular {
public:
    // Takes subject and bodies of the template mail.
    explicit TPersonalCircular(const TEMail& templateMail);
    // Subject and bodies of mail become those of person's mail; person's
    // own attachments are added.
    void Apply(TEMail& mail, const TRecipientPerson& person) const;
    // Only subject and attachments, for a mail whose text parts come
    // prepared from PlainPieces and HtmlPieces; values as RecipientValueTable
    // gives them for person.
    void ApplyHeader(TEMail& mail, const TRecipientPerson& person, const QHash<QString, QString>& values) const;
    TTextPieces PlainPieces() const { return FPlainText.Pieces(); }
    // The HTML lines joined as they are sent, split at the placeholders.
    TTextPieces HtmlPieces() const;
    // Back to the unmerged template without person's attachments (what the
    // sent-mail log keeps).
    void Restore(TEMail& mail, const TRecipientPerson& person) const;
    bool HasFields() const;

private:
    QString FSubject, FRtf, FPlain;
    QStringList FHtml;
    TPersonalText FSubjectText, FRtfText, FPlainText;
    // Only the HTML lines with placeholders are merged; the others stay
    // shared with the template.
    std::vector<std::pair<qsizetype, TPersonalText>> FHtmlLines;
};

}  // namespace kalvex
