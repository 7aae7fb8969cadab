#pragma once
// A fresh SQLite store with the current schema and seed data, for window
// tests that work on the store without a whole installation.

#include "TestApp.h"
#include "db/BasedbClasses.h"
#include "db/DBUpdater.h"

#include <QSqlDatabase>
#include <QTemporaryDir>

namespace kalvex::testing {

inline std::unique_ptr<TQMBDatabaseHandler> SeededStore(const QTemporaryDir& dir)
{
    // QtSql's connection list must outlive the application object, whose
    // end runs QtSql's clean-up: make it first.
    QSqlDatabase::connectionNames();
    WidgetApp();
    RegisterBuiltInStores();
    TQMBDatabaseConfig config;
    config.HostName = dir.path();
    config.DatabaseName = QStringLiteral("kalvex.db");
    auto handler = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
    handler->SetConnected(true);
    TDBUpdater(*handler).CheckTables();
    return handler;
}

}  // namespace kalvex::testing
