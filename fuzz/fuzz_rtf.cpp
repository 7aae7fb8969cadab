// Feeds arbitrary text to the RTF reader (templates and bodies come from
// the host and the store), then writes the document and reads it again:
// nothing may crash, hang or grow without bound, and a document written
// by us must read back to the same plain text.

#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"

#include <QGuiApplication>
#include <QTextDocument>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Bytes as a file holds them, so 8-bit text meets the code pages.
    const QString text = kalvex::RtfTextFromBytes(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    QTextDocument first;
    kalvex::RtfToDocument(text, first);
    const QString written = kalvex::DocumentToRtf(first);
    QTextDocument second;
    kalvex::RtfToDocument(written, second);
    if (second.toPlainText() != first.toPlainText())
        std::abort();
    return 0;
}
