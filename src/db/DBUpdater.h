#pragma once
// Owns the module's table layout. Every start it looks at the tables and
// columns themselves (there is no version number): a missing table is
// created whole, an older one gets its missing columns and converted data.
// Running it again on an up-to-date store changes nothing.

#include "db/BasedbClasses.h"

namespace kalvex {

class TDBUpdater {
public:
    explicit TDBUpdater(TQMBDatabaseHandler& handler) : FDBHandler(handler) {}   // handler not owned

    void CheckTables();

    // The seed texts of the text blocks (CR LF line breaks).
    static QString TextA();
    static QString TextB();
    static QString TextC();
    static QString TextD();

private:
    void checkTable(const QString& table, const TFieldInfoV2List& fields, void (TDBUpdater::*upgrade)(),
                    void (TDBUpdater::*seed)());
    void checkColumn(const QString& table, const QString& field, TFieldType type);
    void upgradeEmpfaenger();
    void upgradeGesendeteMails();
    void upgradeVorlage();
    void upgradeProgrammVorlageArt();
    void upgradeProgrammVorlage();
    void copyTextBlocksToTemplates();
    void FillTableKVXKategorie();
    void FillTableKVXRubrik();
    bool keepsJulianDays() const;

    TQMBDatabaseHandler& FDBHandler;
};

}  // namespace kalvex
