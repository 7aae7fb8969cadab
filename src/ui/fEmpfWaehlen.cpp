#include "ui/fEmpfWaehlen.h"

#include "ui/DisplayTexts.h"
#include "ui/fMainForm.h"

#include "address/AdressDB.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/MailAddress.h"
#include "ui/WindowGeometry.h"
#include "ui/fAdresseManuell.h"
#include "ui/WindowRunner.h"

#include <QAction>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace kalvex {

namespace {

constexpr int kGroupRole = Qt::UserRole;
constexpr int kContactRole = Qt::UserRole + 1;
constexpr int kHostSearchLimit = 500;
constexpr int kHostRowRole = Qt::UserRole + 1;   // the row of FHostRows
const QString kGeometrySection = QStringLiteral("FormEmpfWaehlen");

QString displayName(const TKontakt& k)
{
    const QString name = (k.Vorname + QLatin1Char(' ') + k.Nachname).trimmed();
    return name.isEmpty() ? k.Firma : name;
}

bool matches(const TKontakt& k, const QString& filter)
{
    if (filter.isEmpty())
        return true;
    for (const QString* s : {&k.Vorname, &k.Nachname, &k.Firma, &k.EMail})
        if (s->contains(filter, Qt::CaseInsensitive))
            return true;
    return false;
}

TComposeRecipient recipientOf(const TKontakt& k)
{
    TComposeRecipient r;
    r.email = k.EMail.trimmed();
    r.name = (k.Vorname + QLatin1Char(' ') + k.Nachname).trimmed();
    r.company = k.Firma;
    r.adressDbId = k.AdressDB_ID;
    r.kontaktId = k.ID;
    r.person = PersonOf(k);
    return r;
}

QPushButton* button(QWidget* parent, const QString& text, const std::function<void()>& action)
{
    auto* b = new QPushButton(text, parent);
    QObject::connect(b, &QPushButton::clicked, parent, action);
    return b;
}

// An address that cannot be taken over is shown dimmed, and says why.
QString withoutAddressHint()
{
    return Tx(2100, "Keine gültige E-Mail-Adresse: wird nicht als Empfänger übernommen.");
}

QBrush dimmed(const QWidget* view)
{
    return view->palette().color(QPalette::Disabled, QPalette::Text);
}

void markWithoutAddress(QTreeWidgetItem* item)
{
    for (int column = 0; column < item->columnCount(); ++column) {
        item->setForeground(column, dimmed(item->treeWidget()));
        item->setToolTip(column, withoutAddressHint());
    }
}

void markWithoutAddress(QTableWidget* grid, int row)
{
    for (int column = 0; column < grid->columnCount(); ++column) {
        grid->item(row, column)->setForeground(dimmed(grid));
        grid->item(row, column)->setToolTip(withoutAddressHint());
    }
}

// A read-only list of whole rows, its columns as wide as their texts, its
// rows as high as the tree's.
QTableWidget* makeGrid(QWidget* parent, const QStringList& headers)
{
    auto* grid = new QTableWidget(0, static_cast<int>(headers.size()), parent);
    grid->setHorizontalHeaderLabels(headers);
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->setWordWrap(false);
    grid->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    grid->horizontalHeader()->setStretchLastSection(true);
    grid->verticalHeader()->setDefaultSectionSize(grid->fontMetrics().height() + 6);
    grid->verticalHeader()->hide();
    return grid;
}

// The input windows run like the module's other modal windows (on top of
// the host, closed at once when unattended) and with German buttons.
void prepareInput(QInputDialog& dialog, const QString& title, const QString& label)
{
    dialog.setWindowTitle(title);
    dialog.setLabelText(label);
    dialog.setCancelButtonText(Tx(1855, "Abbrechen"));
}

bool askText(QWidget* parent, const QString& title, const QString& label, QString& value)
{
    QInputDialog dialog(parent);
    prepareInput(dialog, title, label);
    dialog.setTextValue(value);
    if (RunModal(dialog) != QDialog::Accepted)
        return false;
    value = dialog.textValue().trimmed();
    return !value.isEmpty();
}

// The index of the item chosen, or -1.
qsizetype askItem(QWidget* parent, const QString& title, const QString& label, const QStringList& items)
{
    QInputDialog dialog(parent);
    prepareInput(dialog, title, label);
    dialog.setComboBoxItems(items);
    dialog.setComboBoxEditable(false);
    if (RunModal(dialog) != QDialog::Accepted)
        return -1;
    // By position: two groups may carry the same name.
    const auto* combo = dialog.findChild<QComboBox*>();
    return combo ? combo->currentIndex() : items.indexOf(dialog.textValue());
}

// The contact fields the form shows, with their captions.
struct KontaktField {
    int id;
    const char* german;
    QString TKontakt::*member;
};
const KontaktField kKontaktFields[] = {
    {2201, "Vorname", &TKontakt::Vorname},   {2202, "Nachname", &TKontakt::Nachname}, {2203, "Firma", &TKontakt::Firma},
    {2204, "E-Mail-Adresse*", &TKontakt::EMail}, {2205, "Telefon", &TKontakt::Telefon}, {2206, "Straße", &TKontakt::Strasse},
    {2207, "Hausnummer", &TKontakt::HausNr}, {2208, "PLZ", &TKontakt::PLZ},          {2209, "Ort", &TKontakt::Ort},
};
// The form's rows by field index: street and house number, postcode and
// city share a row as on a letter.
const QList<QList<int>> kKontaktRows = {{0}, {1}, {2}, {3}, {4}, {5, 6}, {7, 8}};
constexpr int kShortFieldWidth = 80;   // house number, postcode

QString rowCaption(const QList<int>& row)
{
    QStringList captions;
    for (int field : row)
        captions << Tx(kKontaktFields[field].id, kKontaktFields[field].german);
    return captions.join(QStringLiteral(" / "));
}

bool isShortField(int field)
{
    const auto member = kKontaktFields[field].member;
    return member == &TKontakt::HausNr || member == &TKontakt::PLZ;
}

}  // namespace

TFormEmpfWaehlen::TFormEmpfWaehlen(TQMBDatabaseHandler& handler, TAdressDB* adr, TEmpfWaehlenMode mode,
                                   IUserMessages& messages, QWidget* parent)
    : QDialog(parent), FHandler(handler), FAdr(adr), FMode(mode), FMessages(messages)
{
    setWindowTitle(mode == TEmpfWaehlenMode::emAuswahl ? Tx(2210, "Empfänger auswählen") : Tx(2211, "Adressverwaltung"));
    if (const auto* window = qobject_cast<const TMainForm*>(parent))
        FDefaultKind = window->PresetKind();   // a double-click takes the window's "Voreinstellung"
    resize(860, 540);
    if (mode == TEmpfWaehlenMode::emAuswahl)
        createSelectionCommands();
    else
        createManagementCommands();
    auto* layout = new QHBoxLayout(this);
    tabs = new QTabWidget(this);
    auto* book = new QWidget(tabs);
    buildAddressBook(book);
    tabs->addTab(book, Tx(2212, "Eigenes Adressbuch"));
    // The host's addresses are shown in both modes: managing the own book
    // means looking up who the host already knows.
    auto* host = new QWidget(tabs);
    buildHostPage(host);
    tabs->addTab(host, Tx(2213, "Adressdatenbank"));
    layout->addWidget(tabs, 3);
    layout->addWidget(mode == TEmpfWaehlenMode::emAuswahl ? buildSelectionButtons() : buildManagementButtons(), 2);
    LoadWindowGeometry(this, kGeometrySection);
    reload();
    updateCommands();
}

// The tree outlives this part of the window while QWidget deletes its
// children: it must not call back into a window already half gone.
TFormEmpfWaehlen::~TFormEmpfWaehlen()
{
    tvAdressen->disconnect(this);
}

QList<QAction*> TFormEmpfWaehlen::Commands() const
{
    QList<QAction*> out;
    for (const TCommand& c : FCommands)
        out << c.action;
    return out;
}

QAction* TFormEmpfWaehlen::addCommand(const QString& text, TNeeds needs, const std::function<void()>& run)
{
    auto* action = new QAction(text, this);
    connect(action, &QAction::triggered, this, run);
    FCommands << TCommand{action, needs};
    return action;
}

QPushButton* TFormEmpfWaehlen::commandButton(QAction* action, QWidget* parent) const
{
    auto* b = new QPushButton(action->text(), parent);
    b->setEnabled(action->isEnabled());
    connect(b, &QPushButton::clicked, action, &QAction::trigger);
    connect(action, &QAction::enabledChanged, b, &QPushButton::setEnabled);
    return b;
}

void TFormEmpfWaehlen::createSelectionCommands()
{
    addCommand(Tx(2200, "An") + QStringLiteral(" →"), TNeeds::nNothing, [this] { AddSelectedAs(TEmpfaengerTyp::elAn); });
    addCommand(QStringLiteral("Cc →"), TNeeds::nNothing, [this] { AddSelectedAs(TEmpfaengerTyp::elCc); });
    addCommand(QStringLiteral("Bcc →"), TNeeds::nNothing, [this] { AddSelectedAs(TEmpfaengerTyp::elBcc); });
}

// Group commands first, then contact commands: the buttons are laid out in this order.
void TFormEmpfWaehlen::createManagementCommands()
{
    addCommand(Tx(2222, "Neue Gruppe …"), TNeeds::nNothing, [this] { askNewGroup(); });
    addCommand(Tx(2223, "Gruppe umbenennen …"), TNeeds::nGroupRow, [this] { askRenameGroup(); });
    addCommand(Tx(2224, "Gruppe löschen"), TNeeds::nGroupRow, [this] { askDeleteGroup(); });
    addCommand(Tx(2226, "Neuer Kontakt …"), TNeeds::nAnyRow, [this] { editContact(true); });
    addCommand(Tx(2227, "Kontakt bearbeiten …"), TNeeds::nContactRow, [this] { editContact(false); });
    addCommand(Tx(2228, "In andere Gruppe verschieben …"), TNeeds::nContactRow, [this] { askMoveContact(); });
    addCommand(Tx(2229, "Kontakt löschen"), TNeeds::nContactRow, [this] { askDeleteContact(); });
}

void TFormEmpfWaehlen::updateCommands()
{
    const QTreeWidgetItem* item = tvAdressen->currentItem();
    const bool contactRow = item && item->data(0, kContactRole).toInt() > 0;
    for (const TCommand& c : FCommands) {
        switch (c.needs) {
        case TNeeds::nNothing: c.action->setEnabled(true); break;
        case TNeeds::nAnyRow: c.action->setEnabled(item != nullptr); break;
        case TNeeds::nGroupRow: c.action->setEnabled(item && !contactRow); break;
        case TNeeds::nContactRow: c.action->setEnabled(contactRow); break;
        }
    }
}

void TFormEmpfWaehlen::done(int result)
{
    SaveWindowGeometry(this, kGeometrySection);
    QDialog::done(result);
}

void TFormEmpfWaehlen::buildAddressBook(QWidget* page)
{
    auto* v = new QVBoxLayout(page);
    edSuche = new QLineEdit(page);
    edSuche->setPlaceholderText(Tx(2214, "Suchen nach Name, Firma oder E-Mail"));
    edSuche->setClearButtonEnabled(true);
    connect(edSuche, &QLineEdit::textChanged, this, &TFormEmpfWaehlen::SetFilter);
    tvAdressen = new QTreeWidget(page);
    tvAdressen->setHeaderLabels({Tx(2215, "Gruppe / Name"), Tx(2216, "E-Mail"), Tx(2203, "Firma")});
    tvAdressen->setSelectionMode(QAbstractItemView::ExtendedSelection);
    tvAdressen->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tvAdressen->header()->setSectionResizeMode(2, QHeaderView::Stretch);   // no needless horizontal scroll bar
    tvAdressen->setContextMenuPolicy(Qt::ActionsContextMenu);
    tvAdressen->addActions(Commands());
    connect(tvAdressen, &QTreeWidget::currentItemChanged, this, &TFormEmpfWaehlen::updateCommands);
    if (FMode == TEmpfWaehlenMode::emAuswahl)
        connect(tvAdressen, &QTreeWidget::itemDoubleClicked, this, [this] { AddSelectedAs(FDefaultKind); });
    else
        connect(tvAdressen, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
            if (item->data(0, kContactRole).toInt() > 0)
                editContact(false);
        });
    v->addWidget(edSuche);
    v->addWidget(tvAdressen);
}

void TFormEmpfWaehlen::buildHostPage(QWidget* page)
{
    auto* v = new QVBoxLayout(page);
    auto* search = new QLineEdit(page);
    search->setPlaceholderText(Tx(2214, "Suchen nach Name, Firma oder E-Mail"));
    gridHost = makeGrid(page, {Tx(2217, "Name"), Tx(2216, "E-Mail"), Tx(2203, "Firma")});
    connect(search, &QLineEdit::textChanged, this, [this, search] {
        gridHost->setProperty("filter", search->text());
        searchHost();
    });
    connect(gridHost, &QTableWidget::cellDoubleClicked, this, [this] { AddSelectedAs(FDefaultKind); });
    // The host's list is read when the page is first looked at, not for every window.
    connect(tabs, &QTabWidget::currentChanged, this, [this, page](int index) {
        if (tabs->widget(index) == page && gridHost->rowCount() == 0)
            searchHost();
    });
    v->addWidget(search);
    v->addWidget(gridHost);
    if (!FAdr || !FAdr->IsOpen())
        v->addWidget(new QLabel(Tx(2218, "Keine Adressdatenbank gefunden."), page));
}

QWidget* TFormEmpfWaehlen::buildSelectionButtons()
{
    auto* side = new QWidget(this);
    auto* v = new QVBoxLayout(side);
    auto* kinds = new QHBoxLayout;
    for (QAction* kind : Commands())
        kinds->addWidget(commandButton(kind, side));
    v->addLayout(kinds);
    gridAuswahl = makeGrid(side, {Tx(2219, "Art"), Tx(2217, "Name"), Tx(2216, "E-Mail")});
    v->addWidget(gridAuswahl);
    auto* remove = new QAction(Tx(2220, "Aus Auswahl entfernen"), gridAuswahl);
    remove->setShortcut(QKeySequence::Delete);
    remove->setShortcutContext(Qt::WidgetShortcut);
    connect(remove, &QAction::triggered, this, &TFormEmpfWaehlen::RemoveChosen);
    gridAuswahl->addAction(remove);
    gridAuswahl->setContextMenuPolicy(Qt::ActionsContextMenu);
    v->addWidget(commandButton(remove, side));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, side);
    buttons->button(QDialogButtonBox::Cancel)->setText(Tx(1855, "Abbrechen"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    v->addWidget(buttons);
    return side;
}

QWidget* TFormEmpfWaehlen::buildManagementButtons()
{
    auto* side = new QWidget(this);
    auto* v = new QVBoxLayout(side);
    constexpr int kGroupCommands = 3;
    const QList<QAction*> commands = Commands();
    v->addWidget(new QLabel(Tx(2221, "Gruppen"), side));
    for (int i = 0; i < kGroupCommands; ++i)
        v->addWidget(commandButton(commands[i], side));
    v->addSpacing(12);
    v->addWidget(new QLabel(Tx(2225, "Kontakte"), side));
    for (int i = kGroupCommands; i < commands.size(); ++i)
        v->addWidget(commandButton(commands[i], side));
    auto* separator = new QAction(this);
    separator->setSeparator(true);
    tvAdressen->insertAction(commands[kGroupCommands], separator);
    v->addStretch();
    v->addWidget(button(side, Tx(2230, "Schließen"), [this] { accept(); }));
    return side;
}

void TFormEmpfWaehlen::reload()
{
    FGruppen = LoadGruppenListeFromDB(FHandler);
    fillTree();
}

void TFormEmpfWaehlen::fillTree()
{
    const QString filter = edSuche->text().trimmed();
    tvAdressen->clear();
    for (const auto& [id, gruppe] : FGruppen) {
        auto* group = new QTreeWidgetItem(tvAdressen, {gruppe->Gruppenname});
        group->setData(0, kGroupRole, id);
        group->setData(0, kContactRole, 0);
        QFont bold = group->font(0);
        bold.setBold(true);
        group->setFont(0, bold);
        for (const auto& [kid, k] : gruppe->Kontakte) {
            if (!matches(*k, filter))
                continue;
            auto* item = new QTreeWidgetItem(group, {displayName(*k), k->EMail, k->Firma});
            item->setData(0, kGroupRole, id);
            item->setData(0, kContactRole, kid);
            if (!IsValidEMailAddress(k->EMail.trimmed()))
                markWithoutAddress(item);
        }
        group->setHidden(!filter.isEmpty() && group->childCount() == 0
                         && !gruppe->Gruppenname.contains(filter, Qt::CaseInsensitive));
    }
    tvAdressen->expandAll();
}

void TFormEmpfWaehlen::SetFilter(const QString& text)
{
    if (edSuche->text() != text)
        edSuche->setText(text);   // comes back here through textChanged
    else
        fillTree();
}

void TFormEmpfWaehlen::ShowHostAddresses(bool nameFieldAsName)
{
    FHostNameFieldAsName = nameFieldAsName;
    if (tabs->count() > 1)
        tabs->setCurrentIndex(1);
    searchHost();
}

void TFormEmpfWaehlen::searchHost()
{
    if (!gridHost || !FAdr || !FAdr->IsOpen())
        return;
    QList<TAdrFieldValueList> rows;
    try {
        rows = FAdr->SearchPersdat(gridHost->property("filter").toString(), kHostSearchLimit);
    } catch (const EKalvex& e) {
        FMessages.ShowError(e.message());
    }
    FHostRows = rows;
    gridHost->setRowCount(static_cast<int>(rows.size()));
    for (int i = 0; i < rows.size(); ++i) {
        const TAdrFieldValueList& r = rows[i];
        auto* name = new QTableWidgetItem(AdrFullName(r));
        name->setData(Qt::UserRole, r.Field(QStringLiteral("Name")));
        name->setData(kHostRowRole, i);
        gridHost->setItem(i, 0, name);
        gridHost->setItem(i, 1, new QTableWidgetItem(r.Field(QStringLiteral("EMAIL"))));
        gridHost->setItem(i, 2, new QTableWidgetItem(AdrCompany(r)));
        if (!IsValidEMailAddress(r.Field(QStringLiteral("EMAIL")).trimmed()))
            markWithoutAddress(gridHost, i);
    }
}

QList<TComposeRecipient> TFormEmpfWaehlen::selectedAddressBookEntries() const
{
    QList<TComposeRecipient> out;
    for (QTreeWidgetItem* item : tvAdressen->selectedItems()) {
        const int32_t kid = item->data(0, kContactRole).toInt();
        if (kid > 0) {
            out << recipientOf(*findKontakt(kid));
            continue;
        }
        for (int i = 0; i < item->childCount(); ++i)   // a group brings all its shown contacts
            out << recipientOf(*findKontakt(item->child(i)->data(0, kContactRole).toInt()));
    }
    return out;
}

QList<TComposeRecipient> TFormEmpfWaehlen::selectedHostEntries() const
{
    QList<TComposeRecipient> out;
    if (!gridHost)
        return out;
    for (const QModelIndex& index : gridHost->selectionModel()->selectedRows()) {
        TComposeRecipient r;
        const QTableWidgetItem* name = gridHost->item(index.row(), 0);
        r.name = FHostNameFieldAsName ? name->data(Qt::UserRole).toString() : name->text();
        r.email = gridHost->item(index.row(), 1)->text().trimmed();
        r.company = gridHost->item(index.row(), 2)->text();
        r.person = AdrPerson(FHostRows.value(name->data(kHostRowRole).toInt()));
        out << r;
    }
    return out;
}

void TFormEmpfWaehlen::AddSelectedAs(TEmpfaengerTyp kind)
{
    const QList<TComposeRecipient> chosen = tabs->currentIndex() == 0 ? selectedAddressBookEntries() : selectedHostEntries();
    QStringList refused;
    for (TComposeRecipient r : chosen) {
        r.kind = kind;
        if (IsValidEMailAddress(r.email))
            addRecipient(r);
        else
            refused << (r.name.isEmpty() ? r.email : r.name);
    }
    fillSelectionGrid();
    if (!refused.isEmpty())
        FMessages.ShowInformation(Tx(2231, "Ohne gültige E-Mail-Adresse nicht übernommen:\n%1").arg(refused.join(QLatin1Char('\n'))));
}

void TFormEmpfWaehlen::RemoveChosen()
{
    QList<int> rows;
    for (const QModelIndex& index : gridAuswahl->selectionModel()->selectedRows())
        rows << index.row();
    std::sort(rows.rbegin(), rows.rend());   // from the end, so the rows left keep their numbers
    for (int row : rows)
        FResult.removeAt(row);
    fillSelectionGrid();
}

void TFormEmpfWaehlen::addRecipient(const TComposeRecipient& r)
{
    for (const TComposeRecipient& have : FResult)
        if (have.email.compare(r.email, Qt::CaseInsensitive) == 0)
            return;
    FResult << r;
}

void TFormEmpfWaehlen::fillSelectionGrid()
{
    gridAuswahl->setRowCount(static_cast<int>(FResult.size()));
    for (int i = 0; i < FResult.size(); ++i) {
        gridAuswahl->setItem(i, 0, new QTableWidgetItem(KindCaption(FResult[i].kind)));
        gridAuswahl->setItem(i, 1, new QTableWidgetItem(FResult[i].name));
        gridAuswahl->setItem(i, 2, new QTableWidgetItem(FResult[i].email));
    }
}

TKontakt* TFormEmpfWaehlen::findKontakt(int32_t id, int32_t* gruppe) const
{
    for (const auto& [gid, g] : FGruppen) {
        const auto it = g->Kontakte.find(id);
        if (it == g->Kontakte.end())
            continue;
        if (gruppe)
            *gruppe = gid;
        return it->second.get();
    }
    return nullptr;
}

int32_t TFormEmpfWaehlen::currentGroupId() const
{
    const QTreeWidgetItem* item = tvAdressen->currentItem();
    return item ? item->data(0, kGroupRole).toInt() : 0;
}

void TFormEmpfWaehlen::SelectItem(int32_t gruppe, int32_t kontakt)
{
    for (int i = 0; i < tvAdressen->topLevelItemCount(); ++i) {
        QTreeWidgetItem* group = tvAdressen->topLevelItem(i);
        if (group->data(0, kGroupRole).toInt() != gruppe)
            continue;
        QTreeWidgetItem* target = group;
        for (int c = 0; c < group->childCount(); ++c)
            if (group->child(c)->data(0, kContactRole).toInt() == kontakt)
                target = group->child(c);
        tvAdressen->setCurrentItem(target);
        return;
    }
}

int32_t TFormEmpfWaehlen::NeueGruppe(const QString& name)
{
    const int32_t id = NeueGruppeAnlegen(FHandler, name.trimmed());
    reload();
    SelectItem(id);
    return id;
}

void TFormEmpfWaehlen::GruppeUmbenennen(int32_t gruppe, const QString& name)
{
    kalvex::GruppeUmbenennen(FHandler, gruppe, name.trimmed());
    reload();
    SelectItem(gruppe);
}

void TFormEmpfWaehlen::GruppeLoeschen(int32_t gruppe)
{
    const auto it = FGruppen.find(gruppe);
    if (it == FGruppen.end())
        return;
    const QString question = Tx(2232, "Soll die Gruppe \"%1\" mit ihren %2 Kontakten gelöscht werden?")
                                 .arg(it->second->Gruppenname).arg(it->second->Kontakte.size());
    if (!FMessages.AskYesNo(question))
        return;
    if (!kalvex::GruppeLoeschen(FHandler, gruppe))
        FMessages.ShowError(Tx(2233, "Die zu löschende Gruppe konnte nicht aus der Datenbank gelöscht werden."));
    reload();
}

int32_t TFormEmpfWaehlen::KontaktSpeichern(int32_t gruppe, TKontakt kontakt)
{
    kontakt.Save(FHandler, gruppe);
    if (kontakt.ID < 1)
        FMessages.ShowError(Tx(2234, "Der Kontakt konnte nicht gespeichert werden. Einzelheiten stehen in der Protokolldatei."));
    reload();
    SelectItem(gruppe, kontakt.ID);
    return kontakt.ID;
}

void TFormEmpfWaehlen::KontaktVerschieben(int32_t kontakt, int32_t zielGruppe)
{
    if (TKontakt* k = findKontakt(kontakt))
        KontaktSpeichern(zielGruppe, *k);
}

void TFormEmpfWaehlen::KontaktLoeschen(int32_t kontakt)
{
    const TKontakt* k = findKontakt(kontakt);
    if (!k || !FMessages.AskYesNo(Tx(2235, "Soll der Kontakt \"%1\" gelöscht werden?").arg(displayName(*k))))
        return;
    DeleteAdresse(FHandler, kontakt);
    reload();
}

void TFormEmpfWaehlen::askNewGroup()
{
    QString name;
    if (askText(this, Tx(2222, "Neue Gruppe …"), Tx(2236, "Name der Gruppe:"), name))
        NeueGruppe(name);
}

void TFormEmpfWaehlen::askRenameGroup()
{
    const auto it = FGruppen.find(currentGroupId());
    if (it == FGruppen.end())
        return;
    QString name = it->second->Gruppenname;
    if (askText(this, Tx(2223, "Gruppe umbenennen …"), Tx(2236, "Name der Gruppe:"), name))
        GruppeUmbenennen(it->first, name);
}

void TFormEmpfWaehlen::askDeleteGroup()
{
    GruppeLoeschen(currentGroupId());
}

void TFormEmpfWaehlen::editContact(bool isNew)
{
    const int32_t gruppe = currentGroupId();
    if (gruppe < 1) {
        FMessages.ShowInformation(Tx(2237, "Bitte wählen Sie zuerst eine Gruppe."));
        return;
    }
    const QTreeWidgetItem* item = tvAdressen->currentItem();
    const TKontakt* current = isNew ? nullptr : findKontakt(item->data(0, kContactRole).toInt());
    if (!isNew && !current)
        return;
    TFormKontakt form(current ? *current : TKontakt(), this);
    if (RunModal(form) == QDialog::Accepted)
        KontaktSpeichern(gruppe, form.Kontakt());
}

void TFormEmpfWaehlen::askMoveContact()
{
    const QTreeWidgetItem* item = tvAdressen->currentItem();
    const int32_t kontakt = item ? item->data(0, kContactRole).toInt() : 0;
    if (kontakt < 1)
        return;
    QStringList names;
    QList<int32_t> ids;
    for (const auto& [id, g] : FGruppen) {
        if (id == item->data(0, kGroupRole).toInt())
            continue;   // where it is already
        names << g->Gruppenname;
        ids << id;
    }
    if (ids.isEmpty()) {
        FMessages.ShowInformation(Tx(2101, "Es gibt keine andere Gruppe. Bitte legen Sie zuerst eine neue Gruppe an."));
        return;
    }
    const qsizetype index = askItem(this, Tx(2228, "In andere Gruppe verschieben …"), Tx(2238, "Zielgruppe:"), names);
    if (index >= 0)
        KontaktVerschieben(kontakt, ids[index]);
}

void TFormEmpfWaehlen::askDeleteContact()
{
    const QTreeWidgetItem* item = tvAdressen->currentItem();
    if (item && item->data(0, kContactRole).toInt() > 0)
        KontaktLoeschen(item->data(0, kContactRole).toInt());
}

// ---------------------------------------------------------------- contact form

TFormKontakt::TFormKontakt(const TKontakt& kontakt, QWidget* parent) : QDialog(parent), FKontakt(kontakt)
{
    setWindowTitle(kontakt.ID < 1 ? Tx(2240, "Neuer Kontakt") : Tx(2239, "Kontakt bearbeiten"));
    setMinimumWidth(460);
    auto* form = new QFormLayout(this);
    form->addRow(Tx(3401, "Anrede"), anredeBox());
    for (const QList<int>& row : kKontaktRows)
        form->addRow(rowCaption(row), fieldRow(row));
    lbHinweis = new QLabel(this);
    lbHinweis->setStyleSheet(QStringLiteral("color: #b00020"));
    form->addRow(lbHinweis);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Cancel)->setText(Tx(1855, "Abbrechen"));
    connect(buttons, &QDialogButtonBox::accepted, this, &TFormKontakt::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    form->addRow(buttons);
}

QHBoxLayout* TFormKontakt::fieldRow(const QList<int>& row)
{
    auto* h = new QHBoxLayout;
    for (int field : row) {
        auto* edit = new QLineEdit(FKontakt.*(kKontaktFields[field].member), this);
        if (isShortField(field))
            edit->setFixedWidth(kShortFieldWidth);
        if (kKontaktFields[field].member == &TKontakt::EMail)
            edEMail = edit;
        FFields << edit;   // rows run in field order
        h->addWidget(edit);
    }
    return h;
}

QComboBox* TFormKontakt::anredeBox()
{
    cbAnrede = new QComboBox(this);
    for (TAnrede a : {TAnrede::anKeine, TAnrede::anFrau, TAnrede::anHerr, TAnrede::anDivers})
        cbAnrede->addItem(AnredeText(a), static_cast<int>(a));
    cbAnrede->setCurrentIndex(cbAnrede->findData(static_cast<int>(FKontakt.Anrede)));
    return cbAnrede;
}

TKontakt TFormKontakt::Kontakt() const
{
    TKontakt k = FKontakt;
    k.Anrede = static_cast<TAnrede>(cbAnrede->currentData().toInt());
    for (int i = 0; i < FFields.size(); ++i)
        k.*(kKontaktFields[i].member) = FFields[i]->text().trimmed();
    return k;
}

void TFormKontakt::accept()
{
    if (CheckAddressField(edEMail, lbHinweis))
        QDialog::accept();
}

}  // namespace kalvex
