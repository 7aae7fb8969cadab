#include "compose/TemplateMerge.h"

#include "compose/DocumentMerge.h"
#include "compose/RTFEditorEngine.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"
#include "mailinterface/uMailInterface.h"

#include <QFile>
#include <QTextDocument>

namespace kalvex {

QStringList LoadFieldsIntoEngine(const TFelder& felder, int32_t lang, TRTFEditorEngine& engine)
{
    for (const auto& field : felder.FEinfachListe)
        engine.SetDataFieldValueDynamisch(QLatin1Char('<') + field->GetFeldname(lang) + QLatin1Char('>'), field->FWert);
    QStringList blocks;
    for (const auto& block : felder.FWiederholungListe) {
        const QString name = block->GetFeldname(lang);
        blocks << name;
        engine.SetDataFieldValueDynamisch(name + QStringLiteral("-Wiederholung-Count"),
                                          QString::number(block->FBlockListe.Count()));
        for (const auto& column : block->FBlockFeldListe)
            engine.AddDataFieldBlockUnterfeld(name, column->GetFeldname(lang));
        for (int row = 0; row < block->FBlockListe.Count(); ++row)
            for (const auto& cell : block->FBlockListe[row])
                if (const TFeldWiederholungBlockFeld* column = block->FBlockFeldListe.FindByGUID(cell->FGUID))
                    engine.SetDataFieldValueDynamisch(column->GetFeldname(lang) + QString::number(row), cell->FWert);
    }
    return blocks;
}

TMergedTemplate MergeProgrammVorlage(const TProgrammVorlage& vorlage, const TFelder& felder, int32_t lang)
{
    QString body = vorlage.FBody;
    if (!vorlage.FVorlagePfad.isEmpty()) {
        QFile file(vorlage.FVorlagePfad);
        if (file.open(QIODevice::ReadOnly))
            body = RtfTextFromBytes(file.readAll());
    }
    TMergedTemplate out;
    TProgrammVorlage::ReplaceGuidToFeldnamen(lang, vorlage.FBetreff, out.subject, felder);
    TProgrammVorlage::ReplaceGuidToFeldnamen(lang, body, out.body, felder);
    TRTFEditorEngine engine;
    const QStringList blocks = LoadFieldsIntoEngine(felder, lang, engine);
    engine.ReplaceDataValues(out.subject, &blocks, out.subject);
    if (!LooksLikeRtf(out.body)) {
        engine.ReplaceDataValues(out.body, &blocks, out.body);
        return out;
    }
    // RTF is merged as the text it shows: placeholders however the source
    // spells them, values escaped by the writer.
    QTextDocument document;
    RtfToDocument(out.body, document);
    MergeDocument(engine, document, &blocks);
    out.body = DocumentToRtf(document);
    return out;
}

}  // namespace kalvex
