#include "send/PreparedBody.h"

namespace kalvex {

namespace {

TQpFragment fragmentOf(const QString& text)
{
    return EncodeQuotedPrintableFragment(text.toUtf8());
}

// The HTML's pictures become cid: references once, for every mail.
TTextPieces relatedPieces(TTextPieces pieces, TRelatedPictures& pictures)
{
    for (QString& literal : pieces.literals)
        literal = pictures.Relate(literal);
    return pieces;
}

}  // namespace

TSplicedText::TSplicedText(const TTextPieces& pieces, TMergeTarget target) : FTarget(target)
{
    for (const QString& literal : pieces.literals) {
        FLiterals.push_back(fragmentOf(literal));
        FSize += FLiterals.back().bytes.size();
    }
    for (size_t i = 0; i < pieces.keys.size(); ++i) {
        FWritten.push_back(fragmentOf(pieces.written[static_cast<qsizetype>(i)]));
        qsizetype slot = FFields.indexOf(pieces.keys[i]);
        if (slot < 0) {
            slot = FFields.size();
            FFields << pieces.keys[i];
        }
        FSlot.push_back(static_cast<int>(slot));
    }
}

// Each field's value is escaped and encoded once, however often it is used.
std::vector<std::optional<TQpFragment>> TSplicedText::valueFragments(const QHash<QString, QString>& values) const
{
    std::vector<std::optional<TQpFragment>> out;
    out.reserve(static_cast<size_t>(FFields.size()));
    for (const QString& field : FFields) {
        const auto value = values.constFind(field);
        if (value == values.cend())
            out.emplace_back();
        else
            out.emplace_back(fragmentOf(EncodeMergeValue(*value, FTarget)));
    }
    return out;
}

QByteArray TSplicedText::Join(const QHash<QString, QString>& values) const
{
    const std::vector<std::optional<TQpFragment>> filled = valueFragments(values);
    TQpJoiner out(FSize + 64 * static_cast<qsizetype>(FSlot.size()));
    for (size_t i = 0; i < FSlot.size(); ++i) {
        out.Append(FLiterals[i]);
        const std::optional<TQpFragment>& value = filled[static_cast<size_t>(FSlot[i])];
        out.Append(value ? *value : FWritten[i]);
    }
    out.Append(FLiterals.back());
    return out.Take();
}

TPreparedCircular::TPreparedCircular(const TPersonalCircular& circular)
    : FPictures(std::make_shared<TRelatedPictures>()),
      FPlain(circular.PlainPieces(), TMergeTarget::mtPlain),
      FHtml(relatedPieces(circular.HtmlPieces(), *FPictures), TMergeTarget::mtHtml)
{
}

std::shared_ptr<const TPreparedBody> TPreparedCircular::For(const QHash<QString, QString>& values) const
{
    auto body = std::make_shared<TPreparedBody>();
    body->plain = FPlain.Join(values);
    body->html = FHtml.Join(values);
    body->pictures = FPictures;
    return body;
}

}  // namespace kalvex
