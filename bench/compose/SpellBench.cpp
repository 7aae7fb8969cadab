// Spell checking a 200 KB RTF body: the first pass over the whole document
// (when a body is loaded) and one keystroke in its middle with and without
// the highlighter, which checks only the paragraph the keystroke touched.

#include "compose/SpellChecker.h"
#include "compose/SpellDictionary.h"
#include "compose/SpellHighlighter.h"
#include "compose/rtf/RtfReader.h"

#include <QGuiApplication>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <benchmark/benchmark.h>

using namespace kalvex;

namespace {

QGuiApplication& app()
{
    static int argc = 1;
    static char name[] = "bench";
    static char* argv[] = {name, nullptr};
    static QGuiApplication a(argc, argv);
    return a;
}

QString body200k()
{
    QString rtf = "{\\rtf1\\ansi\\ansicpg1252 ";
    for (int i = 0; rtf.size() < 200000; ++i)
        rtf += QString("{\\pard\\f0\\fs20 Sehr geehrte Damen und Herren, anbei die Rechnnung Nr. %1 f\\'fcr <Kunde.Name>; "
                       "bitte \\'fcberweisen Sie den Betrag bis zum 12.03. an info@hausverwaltung.de. Mit freundlichen "
                       "Gr\\'fc\\'dfen, Ihre Hausverwaltung Stra\\'dfenmeister%2\\par}\n").arg(i).arg(i % 50);
    return rtf + "}";
}

void loadBody(QTextDocument& document)
{
    static const QString rtf = body200k();
    RtfToDocument(rtf, document);
}

std::shared_ptr<const THunspellDictionary> german()
{
    return TSpellDictionaries::Shared(TSpellDictionaries::DefaultFolder, "de_DE");
}

// A fresh checker each time: nothing cached, as when a window opens on a long body.
void BM_WholeBody200K(benchmark::State& state)
{
    app();
    QTextDocument document;
    loadBody(document);
    for (auto _ : state) {
        TSpellChecker checker(german(), QString());
        TSpellHighlighter highlighter(nullptr, &document, checker);
        highlighter.Refresh();
    }
    state.counters["paragraphs"] = document.blockCount();
}
BENCHMARK(BM_WholeBody200K)->Unit(benchmark::kMillisecond);

void typeInTheMiddle(benchmark::State& state, QTextDocument& document)
{
    QTextCursor cursor(document.findBlockByNumber(document.blockCount() / 2));
    cursor.movePosition(QTextCursor::EndOfBlock);
    for (auto _ : state) {
        cursor.insertText("x");
        cursor.deletePreviousChar();
    }
    // Proof that the paragraph was checked: its misspelt word is underlined.
    state.counters["underlined"] = static_cast<double>(cursor.block().layout()->formats().size());
}

void BM_KeystrokeWithSpellChecking(benchmark::State& state)
{
    app();
    QTextDocument document;
    loadBody(document);
    TSpellChecker checker(german(), QString());
    TSpellHighlighter highlighter(nullptr, &document, checker);
    highlighter.Refresh();
    typeInTheMiddle(state, document);
}
BENCHMARK(BM_KeystrokeWithSpellChecking)->Unit(benchmark::kMicrosecond);

void BM_KeystrokeWithoutSpellChecking(benchmark::State& state)
{
    app();
    QTextDocument document;
    loadBody(document);
    typeInTheMiddle(state, document);
}
BENCHMARK(BM_KeystrokeWithoutSpellChecking)->Unit(benchmark::kMicrosecond);

}  // namespace
