#include "ui/fVorlagen.h"

#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"
#include "config/LanguageUnit.h"
#include "config/UserMessages.h"
#include "db/BasedbClasses.h"
#include "mailinterface/ProgrammVorlage.h"
#include "ui/SpellLineEdit.h"
#include "ui/Spelling.h"
#include "ui/TextEditSpelling.h"
#include "ui/WindowGeometry.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QTextDocument>
#include <QTextEdit>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace kalvex {

namespace {

constexpr int kCategoryRole = Qt::UserRole;
constexpr int kEntryRole = Qt::UserRole + 1;

QPushButton* button(QWidget* parent, const QString& text, const std::function<void()>& action)
{
    auto* b = new QPushButton(text, parent);
    QObject::connect(b, &QPushButton::clicked, parent, action);
    return b;
}

QString geometrySection(TEMailVorlageArt art)
{
    return art == TEMailVorlageArt::vaTextbaustein ? QStringLiteral("FormTextbausteine") : QStringLiteral("FormVorlagen");
}

// The editor shows RTF as rich text and keeps plain text plain.
void setEditorText(QTextEdit& editor, const QString& text)
{
    if (LooksLikeRtf(text))
        RtfToDocument(text, *editor.document());
    else
        editor.setPlainText(text);
}

}  // namespace

TFormVorlagen::TFormVorlagen(TQMBDatabaseHandler& handler, IUserMessages& messages,
                             const TProgrammVorlageListe* programTemplates, int32_t lang, QWidget* parent)
    : TFormVorlagen(handler, messages, TEMailVorlageArt::vaVorlage, parent)
{
    setWindowTitle(Tx(2250, "Vorlagen verwalten"));
    build(programTemplates, lang);
}

TFormVorlagen::TFormVorlagen(TQMBDatabaseHandler& handler, IUserMessages& messages, TEMailVorlageArt art, QWidget* parent)
    : QDialog(parent), FHandler(handler), FMessages(messages), FArt(art)
{
    resize(900, 560);
    FEditing.Art = art;
}

void TFormVorlagen::build(const TProgrammVorlageListe* programTemplates, int32_t lang)
{
    auto* layout = new QVBoxLayout(this);
    auto* split = new QSplitter(this);
    auto* left = new QWidget(split);
    auto* lv = new QVBoxLayout(left);
    lv->setContentsMargins(0, 0, 0, 0);
    tvVorlagen = new QTreeWidget(left);
    tvVorlagen->setHeaderLabel(Tx(2251, "Kategorie / Name"));
    connect(tvVorlagen, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (item)
            showEntry(findEntry(item->data(0, kEntryRole).toInt()), item->data(0, kCategoryRole).toInt());
    });
    lv->addWidget(tvVorlagen);
    auto* categoryButtons = new QHBoxLayout;
    categoryButtons->addWidget(button(left, Tx(2252, "Neue Kategorie …"), [this] { askNewCategory(); }));
    categoryButtons->addWidget(button(left, Tx(2253, "Umbenennen …"), [this] { askRenameCategory(); }));
    categoryButtons->addWidget(button(left, Tx(2254, "Kategorie löschen"), [this] { KategorieLoeschen(currentKategorie()); }));
    lv->addLayout(categoryButtons);
    split->addWidget(left);
    split->addWidget(buildEditor());
    split->setStretchFactor(1, 2);
    FSplitter = split;
    const int panel = LoadPanelWidth(geometrySection(FArt), 350);
    split->setSizes({panel, std::max(200, width() - panel)});
    if (programTemplates && FArt == TEMailVorlageArt::vaVorlage) {
        auto* tabs = new QTabWidget(this);
        tabs->addTab(split, Tx(2255, "Eigene Vorlagen"));
        tabs->addTab(buildProgramTemplates(*programTemplates, lang), Tx(2256, "Programmvorlagen"));
        layout->addWidget(tabs);
    } else {
        layout->addWidget(split);
    }
    auto* close = new QDialogButtonBox(this);
    close->addButton(Tx(2230, "Schließen"), QDialogButtonBox::RejectRole);
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    FButtonRow = close;
    layout->addWidget(close);
    LoadWindowGeometry(this, geometrySection(FArt));
    reload();
}

QWidget* TFormVorlagen::buildEditor()
{
    auto* right = new QWidget(this);
    auto* form = new QFormLayout(right);
    edName = new QLineEdit(right);
    cbKategorie = new QComboBox(right);
    TSpellChecker* spelling = CreateSpellChecker(this);
    edBetreff = new TSpellLineEdit(spelling, right);
    edText = new QTextEdit(right);
    TTextEditSpelling::Attach(edText, spelling)->InstallMenu();
    edText->setAcceptRichText(true);
    form->addRow(Tx(2217, "Name"), edName);
    form->addRow(Tx(2257, "Kategorie"), cbKategorie);
    if (FArt == TEMailVorlageArt::vaVorlage)
        form->addRow(Tx(2258, "Betreff"), edBetreff);
    else
        edBetreff->hide();
    form->addRow(Tx(2259, "Text"), edText);
    auto* row = new QHBoxLayout;
    row->addWidget(button(right, Tx(2260, "Neu"), [this] { NeuerEintrag(currentKategorie()); }));
    row->addWidget(button(right, Tx(2261, "Speichern"), [this] { Speichern(); }));
    row->addWidget(button(right, Tx(2262, "Löschen"), [this] { EintragLoeschen(); }));
    form->addRow(row);
    return right;
}

QWidget* TFormVorlagen::buildProgramTemplates(const TProgrammVorlageListe& list, int32_t lang)
{
    tvProgrammVorlagen = new QTreeWidget(this);
    tvProgrammVorlagen->setHeaderLabels({Tx(2217, "Name"), Tx(2258, "Betreff")});
    tvProgrammVorlagen->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    for (int i = 0; i < list.Count(); ++i)
        new QTreeWidgetItem(tvProgrammVorlagen, {list[i].GetName(lang), list[i].FBetreff});
    return tvProgrammVorlagen;
}

void TFormVorlagen::done(int result)
{
    SaveWindowGeometry(this, geometrySection(FArt));
    if (FSplitter)
        SavePanelWidth(geometrySection(FArt), FSplitter->sizes().value(0));
    QDialog::done(result);
}

void TFormVorlagen::reload()
{
    FKategorien = LoadVorlagenFromDB(FHandler);
    cbKategorie->clear();
    for (int i = 0; i < FKategorien.Count(); ++i)
        cbKategorie->addItem(FKategorien[i].Kategorie, FKategorien[i].ID);
    fillTree();
}

void TFormVorlagen::fillTree()
{
    tvVorlagen->clear();
    for (int i = 0; i < FKategorien.Count(); ++i) {
        const TKategorie& k = FKategorien[i];
        auto* category = new QTreeWidgetItem(tvVorlagen, {k.Kategorie});
        category->setData(0, kCategoryRole, k.ID);
        category->setData(0, kEntryRole, 0);
        for (int j = 0; j < k.Vorlagen.Count(); ++j) {
            if (k.Vorlagen[j].Art != FArt)
                continue;
            auto* entry = new QTreeWidgetItem(category, {k.Vorlagen[j].Name});
            entry->setData(0, kCategoryRole, k.ID);
            entry->setData(0, kEntryRole, k.Vorlagen[j].ID);
        }
    }
    tvVorlagen->expandAll();
}

TEMailVorlage* TFormVorlagen::findEntry(int32_t id, TKategorie** owner)
{
    for (int i = 0; i < FKategorien.Count(); ++i)
        for (int j = 0; j < FKategorien[i].Vorlagen.Count(); ++j)
            if (FKategorien[i].Vorlagen[j].ID == id) {
                if (owner)
                    *owner = &FKategorien[i];
                return &FKategorien[i].Vorlagen[j];
            }
    return nullptr;
}

const TEMailVorlage* TFormVorlagen::Current() const
{
    return FEditing.ID > 0 ? &FEditing : nullptr;
}

int32_t TFormVorlagen::currentKategorie() const
{
    const QTreeWidgetItem* item = tvVorlagen->currentItem();
    return item ? item->data(0, kCategoryRole).toInt() : (FKategorien.Count() > 0 ? FKategorien[0].ID : -1);
}

void TFormVorlagen::showEntry(const TEMailVorlage* entry, int32_t kategorie)
{
    FEditing = entry ? *entry : TEMailVorlage();
    FEditing.Art = FArt;
    if (!entry)
        FEditing.KategorieID = kategorie;
    edName->setText(FEditing.Name);
    cbKategorie->setCurrentIndex(cbKategorie->findData(FEditing.KategorieID));
    edBetreff->setText(FEditing.Betreff);
    setEditorText(*edText, FEditing.BodyRTF.isEmpty() ? FEditing.BodyPlain : FEditing.BodyRTF);
}

void TFormVorlagen::Select(int32_t kategorie, int32_t eintrag)
{
    for (int i = 0; i < tvVorlagen->topLevelItemCount(); ++i) {
        QTreeWidgetItem* category = tvVorlagen->topLevelItem(i);
        if (category->data(0, kCategoryRole).toInt() != kategorie)
            continue;
        QTreeWidgetItem* target = category;
        for (int c = 0; c < category->childCount(); ++c)
            if (category->child(c)->data(0, kEntryRole).toInt() == eintrag)
                target = category->child(c);
        tvVorlagen->setCurrentItem(target);
        showEntry(findEntry(eintrag), kategorie);
        return;
    }
}

int32_t TFormVorlagen::NeueKategorie(const QString& name)
{
    TKategorie k;
    k.Kategorie = name.trimmed();
    SaveKategorieToDB(FHandler, k);
    reload();
    Select(k.ID, 0);
    return k.ID;
}

void TFormVorlagen::KategorieUmbenennen(int32_t kategorie, const QString& name)
{
    TKategorie* k = FKategorien.FindByID(kategorie);
    if (!k)
        return;
    k->Kategorie = name.trimmed();
    SaveKategorieToDB(FHandler, *k);
    reload();
    Select(kategorie, 0);
}

void TFormVorlagen::KategorieLoeschen(int32_t kategorie)
{
    TKategorie* k = FKategorien.FindByID(kategorie);
    if (!k || !FMessages.AskYesNo(Tx(2263, "Soll die Kategorie \"%1\" mit allen Einträgen gelöscht werden?").arg(k->Kategorie)))
        return;
    FHandler.BeginTrans();
    try {
        for (int j = 0; j < k->Vorlagen.Count(); ++j)
            DeleteEMailVorlageFromDB(FHandler, k->Vorlagen[j]);
        DeleteKategorieFromDB(FHandler, *k);
        FHandler.CommitTrans();
    } catch (...) {
        FHandler.RollbackTrans();
        throw;
    }
    reload();
    showEntry(nullptr, currentKategorie());
}

void TFormVorlagen::NeuerEintrag(int32_t kategorie)
{
    tvVorlagen->setCurrentItem(nullptr);
    showEntry(nullptr, kategorie);
    edName->setFocus();
}

bool TFormVorlagen::Speichern()
{
    if (edName->text().trimmed().isEmpty()) {
        FMessages.ShowInformation(Tx(2264, "Bitte geben Sie einen Namen ein."));
        return false;
    }
    if (cbKategorie->currentIndex() < 0) {   // an entry outside every category would not be listed again
        FMessages.ShowInformation(Tx(2293, "Bitte legen Sie zuerst eine Kategorie an."));
        return false;
    }
    FEditing.Name = edName->text().trimmed();
    FEditing.KategorieID = cbKategorie->currentData().toInt();
    FEditing.Betreff = edBetreff->text();
    // Always RTF, so what the user formatted (in a new entry too) is kept.
    FEditing.BodyPlain = edText->toPlainText();
    FEditing.BodyRTF = DocumentToRtf(*edText->document());
    SaveEMailVorlageToDB(FHandler, FEditing);
    const int32_t id = FEditing.ID;
    const int32_t kategorie = FEditing.KategorieID;
    reload();
    Select(kategorie, id);
    return true;
}

void TFormVorlagen::EintragLoeschen()
{
    if (FEditing.ID < 1 || !FMessages.AskYesNo(Tx(2265, "Soll \"%1\" gelöscht werden?").arg(FEditing.Name)))
        return;
    DeleteEMailVorlageFromDB(FHandler, FEditing);
    const int32_t kategorie = FEditing.KategorieID;
    reload();
    Select(kategorie, 0);
}

void TFormVorlagen::askNewCategory()
{
    bool ok = false;
    const QString name = QInputDialog::getText(this, Tx(2252, "Neue Kategorie …"), Tx(2266, "Name der Kategorie:"),
                                               QLineEdit::Normal, QString(), &ok);
    if (ok && !name.trimmed().isEmpty())
        NeueKategorie(name);
}

void TFormVorlagen::askRenameCategory()
{
    const TKategorie* k = FKategorien.FindByID(currentKategorie());
    if (!k)
        return;
    bool ok = false;
    const QString name = QInputDialog::getText(this, Tx(2253, "Umbenennen …"), Tx(2266, "Name der Kategorie:"),
                                               QLineEdit::Normal, k->Kategorie, &ok);
    if (ok && !name.trimmed().isEmpty())
        KategorieUmbenennen(k->ID, name);
}

// ---------------------------------------------------------------- text blocks

TFormtextbausteine::TFormtextbausteine(TQMBDatabaseHandler& handler, IUserMessages& messages, QWidget* parent)
    : TFormVorlagen(handler, messages, TEMailVorlageArt::vaTextbaustein, parent)
{
    setWindowTitle(Tx(2267, "Textbausteine"));
    TFormVorlagen::build(nullptr, 1031);
    auto* buttons = static_cast<QDialogButtonBox*>(FButtonRow);
    QPushButton* insert = buttons->addButton(Tx(2268, "Einfügen"), QDialogButtonBox::AcceptRole);
    connect(insert, &QPushButton::clicked, this, &TFormtextbausteine::InsertCurrent);
    connect(tvVorlagen, &QTreeWidget::itemDoubleClicked, this, &TFormtextbausteine::InsertCurrent);
}

void TFormtextbausteine::InsertCurrent()
{
    if (!Current()) {
        FChosen.clear();
        return;
    }
    FChosen = Current()->BodyRTF.isEmpty() ? Current()->BodyPlain : Current()->BodyRTF;
    accept();
}

}  // namespace kalvex
