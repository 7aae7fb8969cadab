#pragma once
// The text parts of a personal circular, encoded once for the whole run.
// Each stretch of the template between two recipient fields is
// quoted-printable already; a recipient's parts are joined from those
// stretches and that recipient's few values, so a run of a thousand mails
// does not encode the same 200 KB a thousand times.

#include "compose/MergeValue.h"
#include "compose/PersonalCircular.h"
#include "send/MimeBuilder.h"
#include "send/QuotedPrintable.h"

#include <QHash>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

namespace kalvex {

// One recipient's text parts, as a mail record carries them to the sender.
struct TPreparedBody {
    QByteArray plain, html;                                // quoted-printable, ended by CRLF
    std::shared_ptr<const TRelatedPictures> pictures;      // the HTML's pictures, shared by the run
};

// A text split at its placeholders with its stretches encoded.
class TSplicedText {
public:
    TSplicedText(const TTextPieces& pieces, TMergeTarget target);
    // The text with values filled in, as EncodeQuotedPrintable would give
    // it decoded; a placeholder without a value stays as written.
    QByteArray Join(const QHash<QString, QString>& values) const;

private:
    // Each distinct field's value encoded; none where the recipient has no value.
    std::vector<std::optional<TQpFragment>> valueFragments(const QHash<QString, QString>& values) const;

    TMergeTarget FTarget;
    std::vector<TQpFragment> FLiterals;    // one more than the placeholders
    std::vector<TQpFragment> FWritten;     // each placeholder as written
    std::vector<int> FSlot;                // each placeholder's index in FFields
    QStringList FFields;                   // the distinct field names
    qsizetype FSize = 0;
};

class TPreparedCircular {
public:
    // Takes what it needs; circular may go away afterwards.
    explicit TPreparedCircular(const TPersonalCircular& circular);
    // values as RecipientValueTable gives them for the recipient.
    std::shared_ptr<const TPreparedBody> For(const QHash<QString, QString>& values) const;

private:
    std::shared_ptr<TRelatedPictures> FPictures;
    TSplicedText FPlain, FHtml;
};

}  // namespace kalvex
