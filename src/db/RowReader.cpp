#include "db/RowReader.h"

#include "db/BasedbClasses.h"

namespace kalvex {

TDataSetRows::~TDataSetRows()
{
    FDataSet->Close();
}

bool TDataSetRows::Next()
{
    return FDataSet->Next();
}

int TDataSetRows::Column(const QString& name) const
{
    return FDataSet->Column(name);
}

QVariant TDataSetRows::Value(int column) const
{
    return FDataSet->Value(column);
}

}  // namespace kalvex
