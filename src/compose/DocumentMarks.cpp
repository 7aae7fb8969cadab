#include "compose/DocumentMarks.h"

#include <QTextDocument>

namespace kalvex {

TMarkLayer::TMarkLayer(QObject* owner, QTextDocument* document)
    : QObject(owner), FMarks(&TDocumentMarks::Of(document))
{
    FMarks->Add(this);
}

TMarkLayer::~TMarkLayer()
{
    if (FMarks)
        FMarks->Remove(this);
}

void TMarkLayer::Refresh()
{
    if (FMarks)
        FMarks->rehighlight();
}

TDocumentMarks::TDocumentMarks(QTextDocument* document) : QSyntaxHighlighter(document)
{
    setObjectName(QStringLiteral("kalvex-document-marks"));
}

TDocumentMarks& TDocumentMarks::Of(QTextDocument* document)
{
    auto* marks = document->findChild<TDocumentMarks*>(QStringLiteral("kalvex-document-marks"), Qt::FindDirectChildrenOnly);
    return marks ? *marks : *new TDocumentMarks(document);
}

void TDocumentMarks::Add(const TMarkLayer* layer)
{
    FLayers.append(layer);
}

void TDocumentMarks::Remove(const TMarkLayer* layer)
{
    FLayers.removeAll(layer);
    rehighlight();
}

// Later layers win where marks overlap.
void TDocumentMarks::highlightBlock(const QString& text)
{
    QList<QTextLayout::FormatRange> marks;
    for (const TMarkLayer* layer : FLayers)
        layer->Mark(text, marks);
    for (const auto& m : marks)
        setFormat(m.start, m.length, m.format);
}

}  // namespace kalvex
