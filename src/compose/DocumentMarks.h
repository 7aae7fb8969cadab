#pragma once
// Marks drawn over a document's text (misspelt words, recipient fields)
// that are no part of the text: they live in the layout, so saving and
// sending never see them. Qt lets one highlighter's formats replace another's
// on the same paragraph, so a document has one TDocumentMarks that asks each
// of its layers per paragraph.

#include <QList>
#include <QObject>
#include <QPointer>
#include <QSyntaxHighlighter>
#include <QTextLayout>

namespace kalvex {

class TDocumentMarks;

// One kind of mark. Owned by the owner given (a widget helper, a window);
// it leaves the document's marks when destroyed. A layer's constructor
// ends with Refresh(), as only then can its Mark be called.
class TMarkLayer : public QObject {
public:
    TMarkLayer(QObject* owner, QTextDocument* document);
    ~TMarkLayer() override;
    // Appends the marks of one paragraph's text.
    virtual void Mark(const QString& text, QList<QTextLayout::FormatRange>& marks) const = 0;
    // Draws the marks of the whole document again.
    void Refresh();

private:
    QPointer<TDocumentMarks> FMarks;
};

class TDocumentMarks : public QSyntaxHighlighter {
public:
    // The document's marks, made on first use as a child of the document.
    static TDocumentMarks& Of(QTextDocument* document);
    void Add(const TMarkLayer* layer);
    void Remove(const TMarkLayer* layer);

protected:
    void highlightBlock(const QString& text) override;

private:
    explicit TDocumentMarks(QTextDocument* document);
    QList<const TMarkLayer*> FLayers;
};

}  // namespace kalvex
