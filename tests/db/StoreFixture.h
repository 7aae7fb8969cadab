#pragma once
// Every storage test runs once per backend: the backend is the test
// parameter. SQLite is always here; further backends add a row.

#include "MariaDBServer.h"
#include "config/KalvexError.h"
#include "db/BasedbClasses.h"

#include <QTemporaryDir>
#include <QSqlRecord>
#include <gtest/gtest.h>

namespace kalvex::testing {

struct Backend {
    const char* name;
    TQMBDatabaseConfigType type;
};

// The message of the EKalvex that f raises; empty when it raises none.
inline QString ErrorOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const EKalvex& e) {
        return e.message();
    }
    return QString();
}

inline std::vector<Backend> Backends()
{
    return {{"SQLite", TQMBDatabaseConfigType::dbtSQLite}, {"MariaDB", TQMBDatabaseConfigType::dbtMariaDB}};
}

class StoreTest : public ::testing::TestWithParam<Backend> {
protected:
    std::unique_ptr<TQMBDatabaseHandler> OpenHandler(int datasetCount = -1)
    {
        auto handler = TQMBDatabaseFactory::CreateDbHandler(Config(), QString(), datasetCount);
        handler->SetConnected(true);
        return handler;
    }
    // The same store for every handler of one test.
    const TQMBDatabaseConfig& Config()
    {
        if (FConfig.DatabaseName.isEmpty())
            FConfig = makeConfig();
        return FConfig;
    }
    bool IsSQLite() const { return GetParam().type == TQMBDatabaseConfigType::dbtSQLite; }
    QString FilePath() const { return FDir.filePath(QStringLiteral("test.db")); }
    QTemporaryDir FDir;

private:
    TQMBDatabaseConfig makeConfig() const
    {
        if (!IsSQLite())
            return MariaDBServer::Instance().NewSchema();
        TQMBDatabaseConfig config;
        config.HostName = FDir.path();
        config.DatabaseName = QStringLiteral("test.db");
        return config;
    }
    TQMBDatabaseConfig FConfig;
};

inline std::string BackendName(const ::testing::TestParamInfo<Backend>& info)
{
    return info.param.name;
}

}  // namespace kalvex::testing
