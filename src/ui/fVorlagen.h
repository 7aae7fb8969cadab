#pragma once
// The user's own templates (TFormVorlagen) and text blocks
// (TFormtextbausteine), both kept in categories in KVXVorlage and edited
// the same way: a category tree on the left, the chosen entry's name,
// category, subject and text on the right. Every save and delete goes to
// the store at once. The template manager also lists the host program's
// templates (read-only: the host maintains them).

#include "compose/uEMailVorlage.h"

#include <QDialog>

class QComboBox;
class QSplitter;
class QLineEdit;
class QTextEdit;
class QTreeWidget;

namespace kalvex {

class IUserMessages;
class TProgrammVorlageListe;
class TQMBDatabaseHandler;

class TFormVorlagen : public QDialog {
    Q_OBJECT

public:
    // handler, messages and programTemplates (may be null) must outlive the window.
    TFormVorlagen(TQMBDatabaseHandler& handler, IUserMessages& messages, const TProgrammVorlageListe* programTemplates,
                  int32_t lang, QWidget* parent = nullptr);

    // The commands, callable without their input dialogs.
    int32_t NeueKategorie(const QString& name);
    void KategorieUmbenennen(int32_t kategorie, const QString& name);
    void KategorieLoeschen(int32_t kategorie);   // asks first; its entries go too
    void NeuerEintrag(int32_t kategorie);         // an empty entry in the editor
    bool Speichern();                             // false when refused (no name)
    void EintragLoeschen();                       // asks first
    void Select(int32_t kategorie, int32_t eintrag);
    const TKategorieListe& Kategorien() const { return FKategorien; }
    const TEMailVorlage* Current() const;

    QTreeWidget* tvVorlagen;
    QTreeWidget* tvProgrammVorlagen = nullptr;
    QLineEdit* edName;
    QComboBox* cbKategorie;
    QLineEdit* edBetreff;
    QTextEdit* edText;

protected:
    TFormVorlagen(TQMBDatabaseHandler& handler, IUserMessages& messages, TEMailVorlageArt art, QWidget* parent);
    void done(int result) override;
    void build(const TProgrammVorlageListe* programTemplates, int32_t lang);
    QWidget* FButtonRow = nullptr;
    QSplitter* FSplitter = nullptr;

private:
    QWidget* buildEditor();
    QWidget* buildProgramTemplates(const TProgrammVorlageListe& list, int32_t lang);
    void reload();
    void fillTree();
    void showEntry(const TEMailVorlage* entry, int32_t kategorie);
    TEMailVorlage* findEntry(int32_t id, TKategorie** owner = nullptr);
    int32_t currentKategorie() const;
    void askNewCategory();
    void askRenameCategory();

    TQMBDatabaseHandler& FHandler;
    IUserMessages& FMessages;
    TEMailVorlageArt FArt;
    TKategorieListe FKategorien;
    TEMailVorlage FEditing;   // the entry in the editor (ID -1: new)
};

// Text blocks: the same window with "Einfügen", which closes it and hands
// the chosen block's text to the caller.
class TFormtextbausteine : public TFormVorlagen {
    Q_OBJECT

public:
    TFormtextbausteine(TQMBDatabaseHandler& handler, IUserMessages& messages, QWidget* parent = nullptr);
    // RTF or plain text of the chosen block; empty when none was chosen.
    QString ChosenText() const { return FChosen; }
    void InsertCurrent();

private:
    QString FChosen;
};

}  // namespace kalvex
