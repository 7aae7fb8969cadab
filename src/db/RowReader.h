#pragma once
// Reading a long result row by row without a QVariant per value where the
// store allows it. The data module reads its lists through this; the
// handler of a store gives the reader: the generic one walks a QtSql data
// set, the SQLite one SQLite's own statement (a list of 10,000 mails spent
// most of its time in QtSql's per-value path).

#include <QString>
#include <QVariant>

namespace kalvex {

class TQMBDataSet;

class TRowReader {
public:
    virtual ~TRowReader() = default;
    virtual bool Next() = 0;
    // The column's index in the result, or -1 when it has none; found once
    // before the loop.
    virtual int Column(const QString& name) const = 0;
    // The current row's value; a column of -1 gives a null value.
    virtual QVariant Value(int column) const = 0;
    virtual QString Text(int column) const { return Value(column).toString(); }
    virtual qint64 Int(int column) const { return Value(column).toLongLong(); }
    virtual double Real(int column) const { return Value(column).toDouble(); }
};

// The generic reader: a data set of the handler's pool, closed (given back)
// when the reader goes. Does not own the data set.
class TDataSetRows : public TRowReader {
public:
    explicit TDataSetRows(TQMBDataSet* ds) : FDataSet(ds) {}
    ~TDataSetRows() override;
    TDataSetRows(const TDataSetRows&) = delete;
    TDataSetRows& operator=(const TDataSetRows&) = delete;

    bool Next() override;
    int Column(const QString& name) const override;
    QVariant Value(int column) const override;

private:
    TQMBDataSet* FDataSet;
};

}  // namespace kalvex
