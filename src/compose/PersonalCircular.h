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
    bool HasFields() const { return !FKeys.empty(); }

private:
    QString encode(const QString& value) const;

    TForm FForm = TForm::tfPlain;
    QStringList FLiterals;        // one more than the placeholders
    std::vector<QString> FKeys;   // lower-case field name of each placeholder
    QStringList FWritten;         // each placeholder as written
    qsizetype FLiteralSize = 0;
};

class TPersonalCircular {
public:
    // Takes subject and bodies of the template mail.
    explicit TPersonalCircular(const TEMail& templateMail);
    // Subject and bodies of mail become those of person's mail; person's
    // own attachments are added.
    void Apply(TEMail& mail, const TRecipientPerson& person) const;
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
