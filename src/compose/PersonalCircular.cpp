#include "compose/PersonalCircular.h"

#include "compose/MergeValue.h"
#include "compose/PlaceholderText.h"
#include "mailinterface/EMail.h"

#include <QRegularExpression>

namespace kalvex {

namespace {

// What may be a placeholder: "<…>", in HTML "&lt;…&gt;" with tags between.
const QRegularExpression& candidatePattern(TPersonalText::TForm form)
{
    static const QRegularExpression source(QStringLiteral("<([^<>\\r\\n]{1,400})>"));
    static const QRegularExpression html(QStringLiteral("&lt;((?:(?!&lt;|&gt;)[^\\r\\n]){1,600}?)&gt;"));
    return form == TPersonalText::TForm::tfHtml ? html : source;
}

// Empfaenger.X or Recipient.X, as the text shows it.
const QRegularExpression& fieldPattern()
{
    static const QRegularExpression re(QStringLiteral("^(?:Empfaenger|Recipient)\\.[^<>&\\r\\n]{1,100}$"),
                                       QRegularExpression::CaseInsensitiveOption);
    return re;
}

// The field a candidate names, found in the text it shows (an umlaut or a
// change of format inside it does not hide it); empty when none, or when
// it could not be replaced whole.
QString fieldOf(QStringView inner, TPersonalText::TForm form)
{
    TShownText shown{inner.toString(), true};
    if (form == TPersonalText::TForm::tfRtf)
        shown = ShownRtfText(inner);
    else if (form == TPersonalText::TForm::tfHtml)
        shown = ShownHtmlText(inner);
    return shown.balanced && fieldPattern().match(shown.text).hasMatch() ? shown.text.toLower() : QString();
}

}  // namespace

QHash<QString, QString> RecipientValueTable(const TRecipientPerson& person)
{
    QHash<QString, QString> values;
    for (const auto& [key, value] : RecipientFieldValues(person))
        values.insert(key, value);
    return values;
}

void TTextPieces::AppendLiteral(const QString& text)
{
    if (literals.isEmpty())
        literals << QString();
    literals.last() += text;
}

void TTextPieces::Append(const TTextPieces& other)
{
    AppendLiteral(other.literals.value(0));
    literals << other.literals.mid(1);
    keys.insert(keys.end(), other.keys.begin(), other.keys.end());
    written << other.written;
}

TPersonalText::TPersonalText(const QString& text, TForm form) : FForm(form)
{
    qsizetype from = 0;
    auto it = candidatePattern(form).globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        const QString key = fieldOf(m.capturedView(1), form);
        if (key.isEmpty())
            continue;
        FPieces.literals << text.mid(from, m.capturedStart(0) - from);
        FPieces.keys.push_back(key);
        FPieces.written << m.captured(0);
        from = m.capturedEnd(0);
    }
    FPieces.literals << text.mid(from);
    FLiteralSize = text.size();
}

QString TPersonalText::Merge(const QHash<QString, QString>& values) const
{
    QString out;
    out.reserve(FLiteralSize + 64 * static_cast<qsizetype>(FPieces.keys.size()));
    for (size_t i = 0; i < FPieces.keys.size(); ++i) {
        out += FPieces.literals[static_cast<qsizetype>(i)];
        const auto value = values.constFind(FPieces.keys[i]);
        out += value == values.cend() ? FPieces.written[static_cast<qsizetype>(i)] : encode(*value);
    }
    out += FPieces.literals.last();
    return out;
}

QString TPersonalText::encode(const QString& value) const
{
    switch (FForm) {
    case TForm::tfRtf: return EncodeMergeValue(value, TMergeTarget::mtRtf);
    case TForm::tfHtml: return EncodeMergeValue(value, TMergeTarget::mtHtml);
    case TForm::tfPlain: break;
    }
    return value;
}

// A placeholder never spans a line break, so each HTML line is its own text.
TPersonalCircular::TPersonalCircular(const TEMail& m)
    : FSubject(m.FBetreff), FRtf(m.FBodyRTF), FPlain(m.FBodyPlain), FHtml(m.FBodyHTML),
      FSubjectText(m.FBetreff, TPersonalText::TForm::tfPlain), FRtfText(m.FBodyRTF, TPersonalText::TForm::tfRtf),
      FPlainText(m.FBodyPlain, TPersonalText::TForm::tfPlain)
{
    for (qsizetype i = 0; i < FHtml.size(); ++i) {
        TPersonalText line(FHtml[i], TPersonalText::TForm::tfHtml);
        if (line.HasFields())
            FHtmlLines.emplace_back(i, std::move(line));
    }
}

void TPersonalCircular::Apply(TEMail& mail, const TRecipientPerson& person) const
{
    const QHash<QString, QString> values = RecipientValueTable(person);
    ApplyHeader(mail, person, values);
    mail.FBodyRTF = FRtfText.Merge(values);
    mail.FBodyPlain = FPlainText.Merge(values);
    mail.FBodyHTML = FHtml;
    for (const auto& [index, line] : FHtmlLines)
        mail.FBodyHTML[index] = line.Merge(values);
}

void TPersonalCircular::ApplyHeader(TEMail& mail, const TRecipientPerson& person, const QHash<QString, QString>& values) const
{
    mail.FBetreff = FSubjectText.Merge(values).replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
    for (const QString& file : person.attachments)
        mail.FAnhaenge << file;
}

TTextPieces TPersonalCircular::HtmlPieces() const
{
    TTextPieces pieces;
    auto withFields = FHtmlLines.begin();
    for (qsizetype i = 0; i < FHtml.size(); ++i) {
        pieces.AppendLiteral(QStringLiteral(" "));
        if (withFields != FHtmlLines.end() && withFields->first == i)
            pieces.Append((withFields++)->second.Pieces());
        else
            pieces.AppendLiteral(FHtml[i]);
    }
    if (pieces.literals.isEmpty())
        pieces.literals << QString();
    return pieces;
}

void TPersonalCircular::Restore(TEMail& mail, const TRecipientPerson& person) const
{
    for (const QString& file : person.attachments)
        mail.FAnhaenge.removeOne(file);
    mail.FBetreff = FSubject;
    mail.FBodyRTF = FRtf;
    mail.FBodyPlain = FPlain;
    mail.FBodyHTML = FHtml;
    mail.FPreparedBody.reset();
}

bool TPersonalCircular::HasFields() const
{
    return FSubjectText.HasFields() || FRtfText.HasFields() || FPlainText.HasFields() || !FHtmlLines.empty();
}

}  // namespace kalvex
