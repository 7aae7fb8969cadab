#include "compose/TemplateMerge.h"

#include "compose/RTFEditorEngine.h"
#include "config/TextDecoding.h"
#include "mailinterface/uMailInterface.h"

#include <QFile>

namespace kalvex {

QStringList LoadFieldsIntoEngine(const TFelder& felder, int32_t lang, TRTFEditorEngine& engine, TMergeTarget target)
{
    for (const auto& field : felder.FEinfachListe)
        engine.SetDataFieldValueDynamisch(QLatin1Char('<') + field->GetFeldname(lang) + QLatin1Char('>'),
                                          EncodeMergeValue(field->FWert, target));
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
                    engine.SetDataFieldValueDynamisch(column->GetFeldname(lang) + QString::number(row),
                                                      EncodeMergeValue(cell->FWert, target));
    }
    return blocks;
}

TMergedTemplate MergeProgrammVorlage(const TProgrammVorlage& vorlage, const TFelder& felder, int32_t lang)
{
    QString body = vorlage.FBody;
    if (!vorlage.FVorlagePfad.isEmpty()) {
        QFile file(vorlage.FVorlagePfad);
        if (file.open(QIODevice::ReadOnly))
            body = DecodeTextFileBytes(file.readAll());
    }
    TMergedTemplate out;
    TProgrammVorlage::ReplaceGuidToFeldnamen(lang, vorlage.FBetreff, out.subject, felder);
    TProgrammVorlage::ReplaceGuidToFeldnamen(lang, body, out.body, felder);
    // The subject is plain text; the body may be RTF source.
    TRTFEditorEngine subjectEngine, bodyEngine;
    const QStringList blocks = LoadFieldsIntoEngine(felder, lang, subjectEngine);
    LoadFieldsIntoEngine(felder, lang, bodyEngine, MergeTargetOf(out.body));
    subjectEngine.ReplaceDataValues(out.subject, &blocks, out.subject);
    bodyEngine.ReplaceDataValues(out.body, &blocks, out.body);
    return out;
}

}  // namespace kalvex
