#include "ui/Appearance.h"

#include "config/IniPlus.h"
#include "config/uConfig.h"

#include <QApplication>
#include <QIcon>
#include <QPalette>
#include <QPointer>
#include <QStyle>
#include <QStyleFactory>
#include <QWidget>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("Darstellung");
const QStringList kSchemeNames = {QStringLiteral("System"), QStringLiteral("hell"), QStringLiteral("dunkel")};
const char* const kOwnStyle = "kalvex-style";
const char* const kAppStyleName = "kalvexOriginalStyle";

TFarbschema schemeOf(const QString& name)
{
    for (int i = 0; i < kSchemeNames.size(); ++i)
        if (kSchemeNames[i].compare(name.trimmed(), Qt::CaseInsensitive) == 0)
            return static_cast<TFarbschema>(i);
    return TFarbschema::fsSystem;
}

// Set by the module's loader when it made the application object.
bool moduleOwnsApplication()
{
    return qApp && qApp->property("kalvexOwnsApplication").toBool();
}

QPalette darkPalette()
{
    QPalette p(QColor(0x31, 0x36, 0x3b), QColor(0x23, 0x26, 0x29));   // button, window
    p.setColor(QPalette::WindowText, QColor(0xef, 0xf0, 0xf1));
    // Fields, check boxes and radio buttons are filled with Base and ringed
    // with a shade darker than the window: Base must be lighter than the
    // window for them to stand out.
    p.setColor(QPalette::Base, QColor(0x4d, 0x52, 0x57));
    p.setColor(QPalette::AlternateBase, QColor(0x55, 0x5a, 0x5f));
    p.setColor(QPalette::Text, QColor(0xef, 0xf0, 0xf1));
    p.setColor(QPalette::ButtonText, QColor(0xef, 0xf0, 0xf1));
    p.setColor(QPalette::ToolTipBase, QColor(0x31, 0x36, 0x3b));
    p.setColor(QPalette::ToolTipText, QColor(0xef, 0xf0, 0xf1));
    p.setColor(QPalette::PlaceholderText, QColor(0xa0, 0xa4, 0xa8));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, QColor(0x7f, 0x84, 0x8a));
    p.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, QColor(0x1d, 0x99, 0xf3));
    return p;
}

QPalette lightPalette()
{
    QPalette p(QColor(0xef, 0xf0, 0xf1), QColor(0xef, 0xf0, 0xf1));
    p.setColor(QPalette::Base, Qt::white);
    p.setColor(QPalette::AlternateBase, QColor(0xf7, 0xf7, 0xf7));
    p.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
    p.setColor(QPalette::HighlightedText, Qt::white);
    return p;
}

// Roles left unset come from the parent (the desktop's palette for "System").
QPalette paletteOf(const TDisplaySettings& s)
{
    QPalette p = s.scheme == TFarbschema::fsDunkel ? darkPalette()
               : s.scheme == TFarbschema::fsHell   ? lightPalette()
                                                    : QPalette();
    if (s.accent.isValid()) {
        p.setColor(QPalette::Highlight, s.accent);
        p.setColor(QPalette::Link, s.accent);
        p.setColor(QPalette::HighlightedText, s.accent.lightnessF() > 0.6 ? Qt::black : Qt::white);
    }
    return p;
}

// QWidget::setStyle reaches neither children nor later windows: each
// widget of the window gets it.
void styleWindow(QWidget* window, const QString& name)
{
    QStyle* own = window->findChild<QStyle*>(QString::fromLatin1(kOwnStyle), Qt::FindDirectChildrenOnly);
    if (own && own->name().compare(name, Qt::CaseInsensitive) != 0)
        own = nullptr;
    if (!own && !name.isEmpty() && (own = QStyleFactory::create(name))) {
        own->setParent(window);
        own->setObjectName(QString::fromLatin1(kOwnStyle));
    }
    if (!own && !window->testAttribute(Qt::WA_SetStyle))
        return;   // never styled: nothing to take back
    const QStyle* wanted = own ? own : QApplication::style();
    // A new style may replace a widget's inner widgets (a combo box's popup).
    QList<QPointer<QWidget>> widgets{window};
    for (QWidget* child : window->findChildren<QWidget*>())
        widgets << child;
    for (const QPointer<QWidget>& widget : widgets)
        if (widget && widget->style() != wanted)
            widget->setStyle(own);
}

void styleApplication(const QString& name)
{
    if (!qApp->property(kAppStyleName).isValid())
        qApp->setProperty(kAppStyleName, QApplication::style()->name());
    const QString wanted = name.isEmpty() ? qApp->property(kAppStyleName).toString() : name;
    if (QApplication::style()->name().compare(wanted, Qt::CaseInsensitive) != 0)
        QApplication::setStyle(wanted);
}

// The breeze icons are drawn for light backgrounds, breeze-dark's for dark
// ones. The theme is the process's: only ours is switched, never a host's.
void matchIconTheme(const QPalette& palette)
{
    if (!QIcon::themeName().startsWith(QLatin1String("breeze")))
        return;
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    QIcon::setThemeName(dark ? QStringLiteral("breeze-dark") : QStringLiteral("breeze"));
}

}  // namespace

TDisplaySettings LoadDisplaySettings(const TConfig& config)
{
    const TIniFile ini(config.ConfigIniFileName());
    TDisplaySettings s;
    s.fontSize = qBound(0, ini.ReadInteger(kSection, QStringLiteral("FontSize"), 0), 32);
    s.autoWidth = ini.ReadBool(kSection, QStringLiteral("AutoBreite"), false);
    s.centred = ini.ReadBool(kSection, QStringLiteral("GridsZentriert"), false);
    s.scheme = schemeOf(ini.ReadString(kSection, QStringLiteral("Farbschema"), QString()));
    s.accent = QColor::fromString(ini.ReadString(kSection, QStringLiteral("Akzent"), QString()));
    s.style = ini.ReadString(kSection, QStringLiteral("Stil"), QString());
    return s;
}

void SaveDisplaySettings(TConfig& config, const TDisplaySettings& s)
{
    TIniFile ini(config.ConfigIniFileName());
    ini.WriteInteger(kSection, QStringLiteral("FontSize"), s.fontSize);
    ini.WriteBool(kSection, QStringLiteral("AutoBreite"), s.autoWidth);
    ini.WriteBool(kSection, QStringLiteral("GridsZentriert"), s.centred);
    ini.WriteString(kSection, QStringLiteral("Farbschema"), kSchemeNames[static_cast<int>(s.scheme)]);
    ini.WriteString(kSection, QStringLiteral("Akzent"), s.accent.isValid() ? s.accent.name() : QString());
    ini.WriteString(kSection, QStringLiteral("Stil"), s.style);
    config.FNewFontSize = s.fontSize;
    config.FAutoBreite = s.autoWidth;
    config.FGridsZentriert = s.centred;
}

void ApplyAppearance(QWidget* window, const TDisplaySettings& settings)
{
    if (moduleOwnsApplication()) {
        styleApplication(settings.style);
        QApplication::setPalette(paletteOf(settings));
        matchIconTheme(QApplication::palette());
        return;
    }
    styleWindow(window, settings.style);
    window->setPalette(paletteOf(settings));
    matchIconTheme(window->palette());
}

void ApplyKeptAppearance(QWidget* window)
{
    if (const TConfig* config = TConfig::Instance())
        ApplyAppearance(window, LoadDisplaySettings(*config));
}

}  // namespace kalvex
