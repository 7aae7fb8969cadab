#pragma once
// The module's exception: it carries the German (or translated) user message.
// Exceptions never cross the host boundary; the exports turn them into the
// thread's last error (see entry/LastError.h).

#include <QByteArray>
#include <QString>
#include <exception>

namespace kalvex {

class EKalvex : public std::exception {
public:
    explicit EKalvex(QString message) : FMessage(std::move(message)), FUtf8(FMessage.toUtf8()) {}
    const QString& message() const noexcept { return FMessage; }
    const char* what() const noexcept override { return FUtf8.constData(); }

private:
    QString FMessage;
    QByteArray FUtf8;  // what() must hand out stable bytes
};

}  // namespace kalvex
