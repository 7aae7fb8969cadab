// The distribution window's templates: the template choice above the body,
// program and own templates merged into subject and body, field values.
#include "ui/fMainForm.h"

#include "compose/RecipientFieldMarks.h"
#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
#include "config/LanguageUnit.h"
#include "mailinterface/Felder.h"
#include "mailinterface/ProgrammVorlage.h"
#include "ui/DisplayTexts.h"
#include "ui/MainFormRules.h"
#include "ui/RibbonGroup.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QToolButton>
#include <utility>

namespace kalvex {

QWidget* TMainForm::buildTemplateArea()
{
    FTemplateArea = new QWidget(this);
    auto* row = new QHBoxLayout(FTemplateArea);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(new QLabel(Tx(1952, "E-Mail-Vorlagen"), FTemplateArea));
    cbVorlagen = new QComboBox(FTemplateArea);
    cbVorlagen->setMinimumWidth(200);
    row->addWidget(cbVorlagen, 1);
    auto* edit = new QToolButton(FTemplateArea);
    edit->setDefaultAction(btVorlagen);
    row->addWidget(edit);
    auto* help = new QToolButton(FTemplateArea);
    help->setObjectName(QStringLiteral("btVorlagenHilfe"));
    help->setText(QStringLiteral("?"));
    help->setToolTip(CommandName(barbtHelp));
    connect(help, &QToolButton::clicked, barbtHelp, &QAction::trigger);
    row->addWidget(help);
    cbWerteEinfuegen = new QComboBox(FTemplateArea);
    cbWerteEinfuegen->setPlaceholderText(Tx(1953, "Werte einfügen"));
    row->addWidget(cbWerteEinfuegen);
    connect(cbVorlagen, &QComboBox::activated, this, [this](int i) {
        if (!mayReplaceComposedText()) {
            cbVorlagen->setCurrentIndex(FAppliedTemplateIndex);
            return;
        }
        FAppliedTemplateIndex = i;
        const QVariant own = cbVorlagen->itemData(i, OwnTemplateRole);
        if (own.isValid())
            ApplyOwnTemplate(own.toInt());
        else
            ApplyTemplate(cbVorlagen->itemData(i).toUuid());
    });
    connect(cbVorlagen, &QComboBox::currentIndexChanged, this, [this] { FSelectedVorlageGUID = SelectedVorlage(); });
    connect(cbWerteEinfuegen, &QComboBox::activated, this, [this](int i) { insertFieldValue(i); });
    return FTemplateArea;
}

void TMainForm::InitializeVorlagenAuswahl(const TProgrammVorlageListe* templates, int32_t lang)
{
    FVorlagen = templates;
    FLang = lang;
    cbVorlagen->clear();
    FTemplateArea->setVisible(!FVorlageArtGUID.isNull());
    FFieldPanel->setVisible(!FVorlageArtGUID.isNull());
    btVorlagen->setVisible(!FVorlageArtGUID.isNull());
    if (!templates)
        return;
    for (const auto& t : *templates)
        if (t->FArt == FVorlageArtGUID || t->FArt == GeneralKindGUID())
            cbVorlagen->addItem(t->GetName(lang), t->FGUID);
    addOwnTemplates();
    cbVorlagen->setCurrentIndex(-1);
    fillFieldTree();
}

// Each category that holds templates is a heading that cannot be chosen,
// its templates indented below it.
void TMainForm::addOwnTemplates()
{
    FEigeneVorlagen = FServices.ownTemplates ? FServices.ownTemplates() : TKategorieListe();
    auto* model = qobject_cast<QStandardItemModel*>(cbVorlagen->model());
    for (const auto& k : FEigeneVorlagen) {
        bool heading = false;
        for (const auto& v : k->Vorlagen) {
            if (v->Art != TEMailVorlageArt::vaVorlage)
                continue;
            if (!std::exchange(heading, true)) {
                cbVorlagen->addItem(k->Kategorie);
                model->item(cbVorlagen->count() - 1)->setEnabled(false);
            }
            cbVorlagen->addItem(QStringLiteral("    ") + v->Name);
            cbVorlagen->setItemData(cbVorlagen->count() - 1, v->ID, OwnTemplateRole);
        }
    }
}

QUuid TMainForm::SelectedVorlage() const
{
    return cbVorlagen->currentIndex() >= 0 ? cbVorlagen->currentData().toUuid() : QUuid();
}

void TMainForm::restoreVorlagenAuswahl(const QUuid& vorlage, const QVariant& ownId)
{
    if (ownId.isValid())
        cbVorlagen->setCurrentIndex(cbVorlagen->findData(ownId, OwnTemplateRole));
    else
        cbVorlagen->setCurrentIndex(vorlage.isNull() ? -1 : cbVorlagen->findData(vorlage));
    FAppliedTemplateIndex = cbVorlagen->currentIndex();
}

void TMainForm::SetVorlagenAuswahl(const QUuid& vorlage)
{
    const int index = cbVorlagen->findData(vorlage);
    cbVorlagen->setCurrentIndex(index);
    FAppliedTemplateIndex = index;
    if (index >= 0)
        ApplyTemplate(vorlage);
}

void TMainForm::ApplyTemplate(const QUuid& vorlage)
{
    FSelectedVorlageGUID = vorlage;
    const TProgrammVorlage* t = FVorlagen ? const_cast<TProgrammVorlageListe*>(FVorlagen)->FindByGUID(vorlage) : nullptr;
    if (t)
        applyMerged(*t);
}

void TMainForm::ApplyOwnTemplate(int32_t id)
{
    FSelectedVorlageGUID = QUuid();
    for (const auto& k : FEigeneVorlagen)
        for (const auto& v : k->Vorlagen)
            if (v->ID == id) {
                TProgrammVorlage asProgramTemplate;
                asProgramTemplate.FBetreff = v->Betreff;
                asProgramTemplate.FBody = LooksLikeRtf(v->BodyRTF) ? v->BodyRTF : v->BodyPlain;
                applyMerged(asProgramTemplate);
                return;
            }
}

void TMainForm::applyMerged(const TProgrammVorlage& vorlage)
{
    try {
        static const TFelder noFields;
        const TMergedTemplate merged = MergeProgrammVorlage(vorlage, FFelder ? *FFelder : noFields, FLang);
        edBetreff->setText(merged.subject);
        SetBody(merged.body);
        FAppliedSubject = FModel.Subject;
        FAppliedBody = FModel.Body().toPlainText();
    } catch (const std::exception& e) {
        FMessages.ShowError(QString::fromUtf8(e.what()));
    }
}

// What the user typed is not replaced by a template without asking; what
// the previous template put there is.
bool TMainForm::mayReplaceComposedText()
{
    const QString body = FModel.Body().toPlainText();
    const bool typedSubject = !FModel.Subject.trimmed().isEmpty() && FModel.Subject != FAppliedSubject;
    const bool typedBody = !body.trimmed().isEmpty() && body != FAppliedBody;
    if (!typedSubject && !typedBody)
        return true;
    return FMessages.AskYesNo(Tx(4500, "Betreff und Text der E-Mail durch die Vorlage ersetzen? "
                                       "Was Sie geschrieben haben, geht dabei verloren."));
}

void TMainForm::fillFieldTree()
{
    ShowFieldEntries((FFelder ? SimpleFieldEntries(*FFelder, FLang) : QList<TFieldEntry>()) + RecipientFieldEntries());
}

QList<TFieldEntry> TMainForm::RecipientFieldEntries() const
{
    if (FModel.Recipients.empty())
        return RecipientFieldList(nullptr);
    const TRecipientPerson first = RecipientPerson(FModel.Recipients.front());
    return RecipientFieldList(&first);
}

void TMainForm::insertFieldValue(int index)
{
    if (index >= 0)
        insertPlaceholder(cbWerteEinfuegen->itemText(index));
    cbWerteEinfuegen->setCurrentIndex(-1);
}

}  // namespace kalvex
