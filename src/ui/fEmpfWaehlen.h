#pragma once
// Recipient selection over the own address book (groups and contacts) and
// the host's address database. In selection mode the user moves addresses
// into To, Cc or Bcc; in address-management mode the same window creates,
// renames and deletes groups and adds, edits, moves and deletes contacts.
// Every change is written to the store at once.

#include "address/AdressDB.h"
#include "address/uKontakt.h"
#include "send/ComposeModel.h"

#include <QDialog>
#include <functional>

class QAction;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

class QComboBox;

namespace kalvex {

class IUserMessages;
class TAdressDB;
class TQMBDatabaseHandler;

enum class TEmpfWaehlenMode { emAuswahl, emAdressVerwaltung };

class TFormEmpfWaehlen : public QDialog {
    Q_OBJECT

public:
    // handler, messages and adr (may be null) must outlive the window.
    TFormEmpfWaehlen(TQMBDatabaseHandler& handler, TAdressDB* adr, TEmpfWaehlenMode mode, IUserMessages& messages,
                     QWidget* parent = nullptr);
    ~TFormEmpfWaehlen() override;

    TEmpfWaehlenMode MyMode() const { return FMode; }
    // The chosen recipients, each address once, in the order chosen.
    QList<TComposeRecipient> Result() const { return FResult; }
    // The kind a double-click gives: the opening window's "Voreinstellung".
    TEmpfaengerTyp DefaultKind() const { return FDefaultKind; }
    // Opens on the host address database; with nameFieldAsName a chosen row
    // is named by its field Name alone, as the address database names it.
    void ShowHostAddresses(bool nameFieldAsName = false);

    // The commands, callable without their input dialogs.
    void AddSelectedAs(TEmpfaengerTyp kind);
    void RemoveChosen();   // the rows selected in the list of chosen recipients
    int32_t NeueGruppe(const QString& name);
    void GruppeUmbenennen(int32_t gruppe, const QString& name);
    void GruppeLoeschen(int32_t gruppe);          // asks first
    int32_t KontaktSpeichern(int32_t gruppe, TKontakt kontakt);   // new when ID < 1
    void KontaktVerschieben(int32_t kontakt, int32_t zielGruppe);
    void KontaktLoeschen(int32_t kontakt);        // asks first
    void SelectItem(int32_t gruppe, int32_t kontakt = 0);
    void SetFilter(const QString& text);
    const TGruppenListe& Gruppen() const { return FGruppen; }
    // The window's commands, as its buttons and the tree's context menu show them.
    QList<QAction*> Commands() const;

    QTreeWidget* tvAdressen;
    QTableWidget* gridHost = nullptr;
    QTableWidget* gridAuswahl;
    QLineEdit* edSuche;
    QTabWidget* tabs;

protected:
    void done(int result) override;

private:
    // What a command needs to be current in the tree.
    enum class TNeeds { nNothing, nGroupRow, nAnyRow, nContactRow };
    struct TCommand {
        QAction* action;
        TNeeds needs;
    };

    QAction* addCommand(const QString& text, TNeeds needs, const std::function<void()>& run);
    QPushButton* commandButton(QAction* action, QWidget* parent) const;
    void createSelectionCommands();
    void createManagementCommands();
    void updateCommands();
    void buildAddressBook(QWidget* page);
    void buildHostPage(QWidget* page);
    QWidget* buildSelectionButtons();
    QWidget* buildManagementButtons();
    void reload();
    void fillTree();
    void searchHost();
    void addRecipient(const TComposeRecipient& r);
    void fillSelectionGrid();
    QList<TComposeRecipient> selectedAddressBookEntries() const;
    QList<TComposeRecipient> selectedHostEntries() const;
    int32_t currentGroupId() const;
    TKontakt* findKontakt(int32_t id, int32_t* gruppe = nullptr) const;
    void askNewGroup();
    void askRenameGroup();
    void askDeleteGroup();
    void editContact(bool isNew);
    void askMoveContact();
    void askDeleteContact();

    TQMBDatabaseHandler& FHandler;
    TAdressDB* FAdr;
    TEmpfWaehlenMode FMode;
    IUserMessages& FMessages;
    TGruppenListe FGruppen;
    QList<TComposeRecipient> FResult;
    TEmpfaengerTyp FDefaultKind = TEmpfaengerTyp::elAn;
    QList<TAdrFieldValueList> FHostRows;   // what the host grid shows, by row
    bool FHostNameFieldAsName = false;   // "Aus AdressDB übernehmen" names a host row by its field Name
    QList<TCommand> FCommands;
};

// One contact's fields; refuses an invalid e-mail address.
class TFormKontakt : public QDialog {
    Q_OBJECT

public:
    TFormKontakt(const TKontakt& kontakt, QWidget* parent = nullptr);
    TKontakt Kontakt() const;
    void accept() override;
    QList<QLineEdit*> Fields() const { return FFields; }
    QComboBox* AnredeBox() const { return cbAnrede; }

private:
    QHBoxLayout* fieldRow(const QList<int>& row);
    QComboBox* anredeBox();

    TKontakt FKontakt;
    QList<QLineEdit*> FFields;   // in the order of kontaktFields()
    QLineEdit* edEMail = nullptr;
    QComboBox* cbAnrede = nullptr;   // empty item: not recorded
    QLabel* lbHinweis = nullptr;
};

}  // namespace kalvex
