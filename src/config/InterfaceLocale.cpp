#include "config/InterfaceLocale.h"

#include "config/LanguageUnit.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>
#include <memory>

namespace kalvex {

namespace {

const QString kCatalogue = QStringLiteral("kalvex-qt-catalogue");

QTranslator* loadedCatalogue()
{
    QCoreApplication* app = QCoreApplication::instance();
    return app ? app->findChild<QTranslator*>(kCatalogue, Qt::FindDirectChildrenOnly) : nullptr;
}

}  // namespace

bool GermanInterface()
{
    const TLang* lang = TLang::Instance();
    return !lang || lang->CurrentLanguage() == TLanguages::lDE;
}

QLocale InterfaceLocale()
{
    QLocale locale = GermanInterface() ? QLocale(QLocale::German, QLocale::Germany)
                                       : QLocale(QLocale::English, QLocale::UnitedStates);
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale;
}

QString ListDateTime(const QDateTime& when)
{
    return InterfaceLocale().toString(when, QLocale::ShortFormat);
}

QString ListNumber(double value, int decimals)
{
    return InterfaceLocale().toString(value, 'f', decimals);
}

// Deleting a translator takes it out of the application.
void UseQtCatalogues(int langCode)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || (langCode == 1031) == QtCataloguesLoaded())
        return;
    if (langCode != 1031) {
        delete loadedCatalogue();
        return;
    }
    auto catalogue = std::make_unique<QTranslator>(app);
    catalogue->setObjectName(kCatalogue);
    if (catalogue->load(QStringLiteral("qtbase_de"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(catalogue.release());
}

bool QtCataloguesLoaded()
{
    return loadedCatalogue() != nullptr;
}

}  // namespace kalvex
