// The body editor's commands: the tabs "Formatierung" (font, lists and
// indents, alignment, symbols, grid lines, pictures) and "Tabelle" (rows,
// columns, merging, borders, full width). The buttons follow the cursor.
#include "ui/fMainForm.h"

#include "compose/MailBodyExport.h"
#include "ui/RibbonGroup.h"

#include "compose/LinkCommands.h"
#include "compose/TableCommands.h"
#include "config/LanguageUnit.h"
#include "ui/LinkDialog.h"
#include "ui/TableGridLines.h"
#include "ui/WindowRunner.h"
#include "ui/fBildeigenschaften.h"

#include <QAction>
#include <QActionGroup>
#include <QColorDialog>
#include <QComboBox>
#include <QCursor>
#include <QFontComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QImage>
#include <QMenu>
#include <QPixmap>
#include <QSignalBlocker>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextEdit>
#include <QTextList>
#include <QTextTable>
#include <QToolButton>
#include <QUrl>
#include <QWidgetAction>

namespace kalvex {

namespace {

const QString kSymbols[] = {"€", "§", "©", "®", "™", "°", "±", "×", "÷", "→",
                            "•", "–", "—", "„", "“", "‚", "‘", "…"};

bool isBulletStyle(int style)
{
    return style == QTextListFormat::ListDisc || style == QTextListFormat::ListCircle
        || style == QTextListFormat::ListSquare;
}

// The blocks that a cursor's selection touches, its own block without one.
QList<QTextBlock> selectedBlocks(const QTextCursor& cursor)
{
    QList<QTextBlock> blocks;
    const QTextBlock last = cursor.document()->findBlock(cursor.selectionEnd());
    for (QTextBlock b = cursor.document()->findBlock(cursor.selectionStart()); b.isValid(); b = b.next()) {
        blocks << b;
        if (b == last)
            break;
    }
    return blocks;
}

QIcon swatch(const QColor& color)
{
    QPixmap pixmap(16, 16);
    pixmap.fill(color.isValid() ? color : Qt::transparent);
    return QIcon(pixmap);
}

void followAlignment(TMainForm& form, const QTextCursor& cursor)
{
    const Qt::Alignment a = cursor.blockFormat().alignment();
    QAction* on = a & Qt::AlignHCenter ? form.btAlignCenter
                : a & Qt::AlignRight   ? form.btAlignRight
                : a & Qt::AlignJustify ? form.btAlignJustify
                                       : form.btAlignLeft;
    on->setChecked(true);
}

void followList(TMainForm& form, const QTextCursor& cursor)
{
    const QTextList* list = cursor.currentList();
    const bool bullets = list && isBulletStyle(list->format().style());
    form.btBullets->setChecked(bullets);
    form.btNumbering->setChecked(list && !bullets);
}

void followCell(TMainForm& form, const QTextCursor& cursor)
{
    const QTextTable* table = cursor.currentTable();
    const auto v = table ? table->cellAt(cursor).format().verticalAlignment() : QTextCharFormat::AlignNormal;
    QAction* on = v == QTextCharFormat::AlignMiddle ? form.btVAlignCenter
                : v == QTextCharFormat::AlignBottom ? form.btVAlignBottom
                                                    : form.btVAlignTop;
    on->setChecked(true);
}

// A drop-down arrow beside the buttons whose command has more to offer.
void offerMenus(QWidget* tab)
{
    for (QToolButton* button : tab->findChildren<QToolButton*>())
        if (button->defaultAction() && button->defaultAction()->menu())
            button->setPopupMode(QToolButton::MenuButtonPopup);
}

// Short captions on the buttons; menus and tooltips (made from the command's
// name with its keys once all commands exist) keep the full text.
void shortCaptions(const std::initializer_list<std::pair<QAction*, QString>>& captions)
{
    for (const auto& [action, caption] : captions)
        action->setIconText(caption);
}

QToolButton* toolButton(QAction* action, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setDefaultAction(action);
    return button;
}

// The format of the selection's last character.
QTextImageFormat pictureAt(const QTextCursor& selection)
{
    QTextCursor at(selection.document());
    at.setPosition(selection.selectionEnd());
    return at.charFormat().toImageFormat();
}

// Only a single selected picture has properties; else why not.
QString pictureRefusal(const QTextCursor& cursor)
{
    if (!cursor.hasSelection())
        return Tx(3057, "Es ist kein Bild ausgewählt.");
    if (cursor.selectionEnd() - cursor.selectionStart() != 1)
        return Tx(3058, "Das ausgewählte Objekt ist kein Bild (1).");
    if (!pictureAt(cursor).isImageFormat())
        return Tx(3059, "Das ausgewählte Objekt ist kein Bild (2).");
    return QString();
}

// A picture without a size of its own shows the image's.
QSize shownSize(const QTextImageFormat& image, QSize natural)
{
    return {qRound(image.width() > 0 ? image.width() : natural.width()),
            qRound(image.height() > 0 ? image.height() : natural.height())};
}

}  // namespace

QAction* TMainForm::makeIconAction(const QString& objectName, const QString& icon, const QString& text,
                                   std::function<void()> handler)
{
    QAction* action = makeAction(objectName, text, std::move(handler));
    action->setIcon(QIcon::fromTheme(icon));
    return action;
}

QAction* TMainForm::makeToggle(const QString& objectName, const QString& icon, const QString& text,
                               std::function<void()> handler)
{
    QAction* action = makeIconAction(objectName, icon, text, std::move(handler));
    action->setCheckable(true);
    return action;
}

void TMainForm::buildFormatTab(QWidget* tab)
{
    buildFormatActions();
    buildParagraphActions();
    shortCaptions({{btIndentLess, Tx(3060, "Einzug -")}, {btIndentMore, Tx(3061, "Einzug +")},
                   {btAlignLeft, Tx(3062, "Links")}, {btAlignRight, Tx(3063, "Rechts")},
                   {btSymbols, Tx(3064, "Symbol")}, {btGridLines, Tx(3065, "Gitternetz")},
                   {btBildeigenschaften, Tx(3066, "Eigenschaften")}});
    QWidget* groups = tab;   // its groups collapse like the other tabs' when the window is narrow
    auto* row = static_cast<QHBoxLayout*>(groups->layout());
    row->addWidget(buildFontGroup(groups));
    addGroup(groups, Tx(3010, "Gliederung"), {btBullets, btNumbering, btIndentLess, btIndentMore});
    addGroup(groups, Tx(3011, "Ausrichtung"), {btAlignLeft, btAlignCenter, btAlignRight, btAlignJustify, btVAlignTop,
                                               btVAlignCenter, btVAlignBottom});
    addGroup(groups, Tx(1948, "Steuerung"), {btUndo, btRedo, btSymbols, btLinkEinfuegen, btGridLines});
    addGroup(groups, Tx(1949, "Bilder"), {btBildEinfuegen, btBildeigenschaften});
    row->addStretch(1);
    offerMenus(tab);
}

void TMainForm::buildTableTab(QWidget* tab)
{
    buildTableActions();
    addGroup(tab, Tx(1950, "Tabelle"), {btTabelleEinfuegen, btZeileEinfuegen, btZeileLoeschen, btSpalteEinfuegen,
                                        btSpalteLoeschen, btZellenVerbinden, btZelleTeilen, btRahmen, btRahmenFarbe,
                                        btTabelle100});
    static_cast<QHBoxLayout*>(tab->layout())->addStretch(1);
    offerMenus(tab);
}

void TMainForm::buildFormatActions()
{
    const std::pair<QAction*, const char*> icons[] = {
        {barbtBoldMain, "format-text-bold"}, {barbtItalicMain, "format-text-italic"},
        {barbtUnderlinedMain, "format-text-underline"}, {btUndo, "edit-undo"}, {btRedo, "edit-redo"},
        {btBildEinfuegen, "insert-image"}};
    for (const auto& [action, icon] : icons)
        action->setIcon(QIcon::fromTheme(QLatin1String(icon)));
    for (QAction* toggle : {barbtBoldMain, barbtItalicMain, barbtUnderlinedMain})
        toggle->setCheckable(true);
    btSymbols = makeIconAction("btSymbols", "format-text-symbol", Tx(3003, "Symbol einfügen"),
                               [this] { FSymbolMenu->popup(QCursor::pos()); });
    FSymbolMenu = buildSymbolMenu();
    btSymbols->setMenu(FSymbolMenu);
    btLinkEinfuegen = makeIconAction("btLinkEinfuegen", "insert-link", Tx(4100, "Link einfügen"), [this] { insertLink(); });
    btGridLines = makeToggle("btGridLines", "view-grid", Tx(3004, "Gitternetzlinien"),
                             [this] { FGridLines->setVisible(btGridLines->isChecked()); });
    btBildeigenschaften = makeIconAction("btBildeigenschaften", "document-properties", Tx(3005, "Bildeigenschaften"),
                                         [this] { ShowPictureProperties(); });
}

void TMainForm::buildParagraphActions()
{
    btBullets = makeToggle("btBullets", "format-list-unordered", Tx(3006, "Aufzählung"),
                           [this] { toggleList(QTextListFormat::ListDisc); });
    btNumbering = makeToggle("btNumbering", "format-list-ordered", Tx(3007, "Nummerierung"),
                             [this] { toggleList(QTextListFormat::ListDecimal); });
    btIndentMore = makeIconAction("btIndentMore", "format-indent-more", Tx(3008, "Einzug vergrößern"), [this] { changeIndent(1); });
    btIndentLess = makeIconAction("btIndentLess", "format-indent-less", Tx(3009, "Einzug verkleinern"), [this] { changeIndent(-1); });
    btAlignLeft = makeToggle("btAlignLeft", "format-justify-left", Tx(3012, "Linksbündig"), [this] { setAlignment(Qt::AlignLeft); });
    btAlignCenter = makeToggle("btAlignCenter", "format-justify-center", Tx(3013, "Zentriert"), [this] { setAlignment(Qt::AlignHCenter); });
    btAlignRight = makeToggle("btAlignRight", "format-justify-right", Tx(3014, "Rechtsbündig"), [this] { setAlignment(Qt::AlignRight); });
    btAlignJustify = makeToggle("btAlignJustify", "format-justify-fill", Tx(3015, "Blocksatz"), [this] { setAlignment(Qt::AlignJustify); });
    btVAlignTop = makeToggle("btVAlignTop", "format-align-vertical-top", Tx(3016, "Oben"), [this] { setCellAlignment(Qt::AlignTop); });
    btVAlignCenter = makeToggle("btVAlignCenter", "format-align-vertical-center", Tx(3017, "Mitte"),
                                [this] { setCellAlignment(Qt::AlignVCenter); });
    btVAlignBottom = makeToggle("btVAlignBottom", "format-align-vertical-bottom", Tx(3018, "Unten"),
                                [this] { setCellAlignment(Qt::AlignBottom); });
    for (const QList<QAction*>& exclusive : {QList<QAction*>{btAlignLeft, btAlignCenter, btAlignRight, btAlignJustify},
                                             QList<QAction*>{btVAlignTop, btVAlignCenter, btVAlignBottom}}) {
        auto* group = new QActionGroup(this);
        for (QAction* action : exclusive)
            group->addAction(action);
    }
}

// On a selection the dialog offers its text, and the selection becomes the link.
void TMainForm::insertLink()
{
    QTextCursor cursor = edBody->textCursor();
    TLinkDialog dialog(cursor.selectedText(), this);
    if (RunModal(dialog) != QDialog::Accepted)
        return;
    InsertLink(cursor, dialog.Text(), dialog.Address());
    edBody->setTextCursor(cursor);
}

QWidget* TMainForm::buildFontGroup(QWidget* tab)
{
    barcbFontMain = new QFontComboBox(tab);
    barcbFontMain->setMaximumWidth(180);
    barcbFontSizeMain = new QComboBox(tab);
    barcbFontSizeMain->setEditable(true);
    for (int size : {8, 9, 10, 11, 12, 14, 16, 18, 20, 24, 28, 36})
        barcbFontSizeMain->addItem(QString::number(size));
    connect(barcbFontMain, &QFontComboBox::currentFontChanged, this,
            [this](const QFont& f) { edBody->setFontFamily(f.family()); });
    connect(barcbFontSizeMain, &QComboBox::textActivated, this, [this](const QString& t) { applyFontSize(t); });
    auto* group = new QGroupBox(Tx(1947, "Schriftart"), tab);
    auto* grid = new QGridLayout(group);
    grid->setContentsMargins(4, 2, 4, 2);
    grid->addWidget(barcbFontMain, 0, 0, 1, 4);
    grid->addWidget(barcbFontSizeMain, 0, 4);
    int column = 0;
    for (QAction* action : {barbtBoldMain, barbtItalicMain, barbtUnderlinedMain})
        grid->addWidget(toolButton(action, group), 1, column++);
    grid->addWidget(buildColorCombo(group), 1, 3, 1, 2);
    return group;
}

QComboBox* TMainForm::buildColorCombo(QWidget* parent)
{
    barcbFColorMain = new QComboBox(parent);
    barcbFColorMain->setObjectName(QStringLiteral("barcbFColorMain"));
    barcbFColorMain->setToolTip(Tx(3019, "Schriftfarbe"));
    const std::pair<QColor, QString> colors[] = {
        {QColor(), Tx(3020, "Automatisch")},      {Qt::black, Tx(3021, "Schwarz")},
        {QColor(128, 128, 128), Tx(3022, "Grau")}, {QColor(192, 0, 0), Tx(3023, "Rot")},
        {QColor(237, 125, 49), Tx(3024, "Orange")}, {QColor(0, 128, 0), Tx(3025, "Grün")},
        {QColor(0, 112, 192), Tx(3026, "Blau")},   {QColor(0, 32, 96), Tx(3027, "Dunkelblau")},
        {QColor(112, 48, 160), Tx(3028, "Violett")}};
    for (const auto& [color, name] : colors)
        barcbFColorMain->addItem(swatch(color), name, color);
    barcbFColorMain->addItem(Tx(3029, "Weitere Farben …"));
    connect(barcbFColorMain, &QComboBox::activated, this, [this](int index) { applyFontColor(index); });
    return barcbFColorMain;
}

QMenu* TMainForm::buildSymbolMenu()
{
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("SymbolMenu"));
    auto* grid = new QWidget(menu);
    auto* layout = new QGridLayout(grid);
    int i = 0;
    for (const QString& symbol : kSymbols) {
        auto* button = new QToolButton(grid);
        button->setText(symbol);
        button->setAutoRaise(true);
        button->setFixedSize(28, 28);
        connect(button, &QToolButton::clicked, this, [this, menu, symbol] {
            edBody->textCursor().insertText(symbol);
            menu->close();
        });
        layout->addWidget(button, i / 6, i % 6);
        ++i;
    }
    auto* picker = new QWidgetAction(menu);
    picker->setDefaultWidget(grid);
    menu->addAction(picker);
    return menu;
}

void TMainForm::buildTableActions()
{
    btTabelleEinfuegen->setIcon(QIcon::fromTheme(QStringLiteral("insert-table")));
    btTabelle100->setIcon(QIcon::fromTheme(QStringLiteral("format-number-percent")));
    SetCommandName(btTabelle100, Tx(3030, "Tabellenbreite auf 100% Seitenbreite"));   // the tooltip; the caption stays "100 %"
    btZeileEinfuegen = makeIconAction("btZeileEinfuegen", "edit-table-insert-row-below", Tx(3031, "Zeile einfügen"),
                                      [this] { tableCommand([](const QTextCursor& c) { return InsertTableRow(c, true); }); });
    btZeileLoeschen = makeIconAction("btZeileLoeschen", "edit-table-delete-row", Tx(3032, "Zeile löschen"),
                                     [this] { tableCommand(DeleteTableRows); });
    btSpalteEinfuegen = makeIconAction("btSpalteEinfuegen", "edit-table-insert-column-right", Tx(3033, "Spalte einfügen"),
                                       [this] { tableCommand([](const QTextCursor& c) { return InsertTableColumn(c, true); }); });
    btSpalteLoeschen = makeIconAction("btSpalteLoeschen", "edit-table-delete-column", Tx(3034, "Spalte löschen"),
                                      [this] { tableCommand(DeleteTableColumns); });
    btZellenVerbinden = makeIconAction("btZellenVerbinden", "edit-table-cell-merge", Tx(3035, "Zellen verbinden"), [this] {
        tableCommand(MergeTableCells, Tx(3036, "Bitte markieren Sie zuerst die Zellen, die verbunden werden sollen."));
    });
    btZelleTeilen = makeIconAction("btZelleTeilen", "edit-table-cell-split", Tx(3037, "Zelle teilen"), [this] {
        tableCommand(SplitTableCell, Tx(3038, "Die Zelle ist nicht verbunden; es gibt nichts zu teilen."));
    });
    buildBorderActions();
}

void TMainForm::buildBorderActions()
{
    const std::tuple<const char*, const char*, QString, TBorderSet> borders[] = {
        {"btRahmenAlle", "format-border-set-all", Tx(3039, "Alle Rahmenlinien"), TBorderSet::All},
        {"btRahmenAussen", "format-border-set-external", Tx(3040, "Äußere Rahmenlinien"), TBorderSet::Outer},
        {"btRahmenInnen", "format-border-set-internal", Tx(3041, "Innere Rahmenlinien"), TBorderSet::Inner},
        {"btRahmenKeine", "format-border-set-none", Tx(3042, "Kein Rahmen"), TBorderSet::None},
        {"btRahmenLinks", "format-border-set-left", Tx(3043, "Rahmenlinie links"), TBorderSet::Left},
        {"btRahmenRechts", "format-border-set-right", Tx(3044, "Rahmenlinie rechts"), TBorderSet::Right},
        {"btRahmenOben", "format-border-set-top", Tx(3045, "Rahmenlinie oben"), TBorderSet::Top},
        {"btRahmenUnten", "format-border-set-bottom", Tx(3046, "Rahmenlinie unten"), TBorderSet::Bottom}};
    auto* borderMenu = new QMenu(this);
    for (const auto& [name, icon, text, set] : borders) {
        FBorderActions << makeIconAction(name, icon, text, [this, set = set] {
            tableCommand([set](const QTextCursor& c) { return ApplyTableBorders(c, set); });
        });
        borderMenu->addAction(FBorderActions.last());
    }
    btRahmen = makeIconAction("btRahmen", "format-border-set-all", Tx(3047, "Rahmen"), [this] { FBorderActions[0]->trigger(); });
    btRahmen->setMenu(borderMenu);
    const QString sides[] = {Tx(3053, "Rahmenfarbe links"), Tx(3054, "Rahmenfarbe rechts"),
                             Tx(3055, "Rahmenfarbe oben"), Tx(3056, "Rahmenfarbe unten")};
    const char* names[] = {"btRahmenFarbeLinks", "btRahmenFarbeRechts", "btRahmenFarbeOben", "btRahmenFarbeUnten"};
    auto* colorMenu = new QMenu(this);
    for (int side = 0; side < 4; ++side) {
        FBorderColorActions << makeIconAction(names[side], "format-stroke-color", sides[side], [this, side] { pickBorderColor(side); });
        colorMenu->addAction(FBorderColorActions.last());
    }
    btRahmenFarbe = makeIconAction("btRahmenFarbe", "format-stroke-color", Tx(3048, "Rahmenfarbe"), [this] { pickBorderColor(-1); });
    btRahmenFarbe->setMenu(colorMenu);
}

// The buttons follow the cursor; the grid lines lie over the editor.
void TMainForm::connectFormatting()
{
    if (!PickColor)
        PickColor = [](QWidget* parent, const QColor& initial) { return QColorDialog::getColor(initial, parent); };
    FGridLines = new TTableGridLines(edBody);
    connect(edBody, &QTextEdit::currentCharFormatChanged, this, [this](const QTextCharFormat& f) { followCharFormat(f); });
    connect(edBody, &QTextEdit::cursorPositionChanged, this, [this] { followCursor(); });
    followCharFormat(edBody->currentCharFormat());
    followCursor();
}

void TMainForm::followCharFormat(const QTextCharFormat& format)
{
    const QSignalBlocker fontBlocker(barcbFontMain);
    barbtBoldMain->setChecked(format.fontWeight() >= QFont::Bold);
    barbtItalicMain->setChecked(format.fontItalic());
    barbtUnderlinedMain->setChecked(format.fontUnderline());
    const QString family = format.fontFamilies().toStringList().value(0, edBody->font().family());
    barcbFontMain->setCurrentFont(QFont(family));
    const double size = format.fontPointSize() > 0 ? format.fontPointSize() : edBody->font().pointSizeF();
    barcbFontSizeMain->setEditText(QString::number(size));
}

void TMainForm::followCursor()
{
    const QTextCursor cursor = edBody->textCursor();
    followAlignment(*this, cursor);
    followList(*this, cursor);
    followCell(*this, cursor);
}

void TMainForm::setAlignment(Qt::Alignment alignment)
{
    edBody->setAlignment(alignment);
    followCursor();
}

void TMainForm::setCellAlignment(Qt::Alignment alignment)
{
    tableCommand([alignment](const QTextCursor& c) { return SetCellVerticalAlignment(c, alignment); });
    followCursor();
}

// The same list command again ends the list; the other one changes its kind.
void TMainForm::toggleList(int style)
{
    QTextCursor cursor = edBody->textCursor();
    cursor.beginEditBlock();
    if (QTextList* list = cursor.currentList(); list && isBulletStyle(list->format().style()) == isBulletStyle(style)) {
        for (const QTextBlock& block : selectedBlocks(cursor))
            if (QTextList* own = block.textList())
                own->remove(block);
    } else if (list) {
        QTextListFormat format = list->format();
        format.setStyle(static_cast<QTextListFormat::Style>(style));
        list->setFormat(format);
    } else {
        cursor.createList(static_cast<QTextListFormat::Style>(style));
    }
    cursor.endEditBlock();
    followCursor();
}

// A list moves by a level, other paragraphs by one indent step.
void TMainForm::changeIndent(int step)
{
    QTextCursor cursor = edBody->textCursor();
    if (QTextList* list = cursor.currentList()) {
        QTextListFormat format = list->format();
        format.setIndent(std::max(1, format.indent() + step));
        list->setFormat(format);
        return;
    }
    cursor.beginEditBlock();
    for (const QTextBlock& block : selectedBlocks(cursor)) {
        QTextBlockFormat format = block.blockFormat();
        format.setIndent(std::max(0, format.indent() + step));
        QTextCursor(block).setBlockFormat(format);
    }
    cursor.endEditBlock();
}

void TMainForm::applyFontColor(int index)
{
    QColor color = barcbFColorMain->itemData(index).value<QColor>();
    if (index == barcbFColorMain->count() - 1 && !(color = PickColor(this, edBody->textColor())).isValid())
        return;
    QTextCharFormat format;
    format.setForeground(color.isValid() ? QBrush(color) : QBrush());   // no brush: the editor's own text colour
    edBody->mergeCurrentCharFormat(format);
    edBody->setFocus();
}

bool TMainForm::cursorInTable()
{
    if (edBody->textCursor().currentTable())
        return true;
    FMessages.ShowInformation(Tx(1981, "Bitte setzen Sie den Cursor zuerst in die gewünschte Tabelle."));
    return false;
}

void TMainForm::tableCommand(const std::function<bool(const QTextCursor&)>& command, const QString& refusal)
{
    if (!cursorInTable())
        return;
    if (!command(edBody->textCursor()) && !refusal.isEmpty())
        FMessages.ShowInformation(refusal);
}

void TMainForm::pickBorderColor(int side)
{
    if (!cursorInTable())
        return;
    const QColor color = PickColor(this, Qt::black);
    if (!color.isValid())
        return;
    for (int s = side < 0 ? 0 : side; s <= (side < 0 ? 3 : side); ++s)
        ApplyBorderColor(edBody->textCursor(), static_cast<TBorderSide>(s), color);
}

void TMainForm::SetTableWidthTo100Percent()
{
    QTextTable* table = edBody->textCursor().currentTable();
    if (!table) {
        cursorInTable();
        return;
    }
    const QString question = FullWidthQuestion(TableWidth(*table));
    if (question.isEmpty())
        FMessages.ShowInformation(Tx(1982, "Die Tabellenbreite ist bereits auf 100% Seitenbreite eingestellt. Die "
                                           "Einstellung wird jetzt noch einmal geprüft und ggfs. erneut gesetzt."));
    else if (!FMessages.AskYesNo(question))
        return;
    FMessages.ShowInformation(SetTablesTo100Percent(FModel.Body()).join(QLatin1Char('\n')));
}

void TMainForm::ShowPictureProperties()
{
    QTextCursor cursor = edBody->textCursor();
    if (const QString refusal = pictureRefusal(cursor); !refusal.isEmpty()) {
        FMessages.ShowInformation(refusal);
        return;
    }
    QTextImageFormat image = pictureAt(cursor);
    const QSize natural = PictureSize(DocumentPicture(FModel.Body(), image.name()));
    TFormBildeigenschaften dialog(shownSize(image, natural), natural, this);
    if (RunModal(dialog) != QDialog::Accepted)
        return;
    image.setWidth(dialog.ShownSize().width());
    image.setHeight(dialog.ShownSize().height());
    cursor.setCharFormat(image);
}

}  // namespace kalvex
