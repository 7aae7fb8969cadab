#pragma once
// Every storage test runs once per backend: the backend is the test
// parameter. SQLite is always here; further backends add a row.

#include "db/BasedbClasses.h"

#include <QTemporaryDir>
#include <QSqlRecord>
#include <gtest/gtest.h>

namespace kalvex::testing {

struct Backend {
    const char* name;
    TQMBDatabaseConfigType type;
};

inline std::vector<Backend> Backends()
{
    return {{"SQLite", TQMBDatabaseConfigType::dbtSQLite}};
}

class StoreTest : public ::testing::TestWithParam<Backend> {
protected:
    std::unique_ptr<TQMBDatabaseHandler> OpenHandler(int datasetCount = -1)
    {
        TQMBDatabaseConfig config;
        config.DatabaseType = GetParam().type;
        config.HostName = FDir.path();
        config.DatabaseName = QStringLiteral("test.db");
        auto handler = TQMBDatabaseFactory::CreateDbHandler(config, QString(), datasetCount);
        handler->SetConnected(true);
        return handler;
    }
    QString FilePath() const { return FDir.filePath(QStringLiteral("test.db")); }
    QTemporaryDir FDir;
};

inline std::string BackendName(const ::testing::TestParamInfo<Backend>& info)
{
    return info.param.name;
}

}  // namespace kalvex::testing
