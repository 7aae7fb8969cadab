#include "mailinterface/EMail.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QDateTime>
#include <QRegularExpression>
#include <cmath>

namespace kalvex {

namespace {

template <class T>
T checkedEnum(int32_t value, int32_t max)
{
    if (value < 0 || value > max)
        throw EKalvex(Tx(1807, "Der Datenstrom enthält einen ungültigen Wert %1.").arg(value));
    return static_cast<T>(value);
}

const QDateTime& epoch()
{
    static const QDateTime e(QDate(1899, 12, 30), QTime(0, 0));
    return e;
}

}  // namespace

QString MailStatusText(TMailStatus status)
{
    switch (status) {
    case TMailStatus::stEntwurf: return QStringLiteral("bearbeiten");
    case TMailStatus::stGesendet: return QStringLiteral("gesendet");
    case TMailStatus::stUndefined: break;
    }
    return QStringLiteral("undefiniert");
}

QString MailSenderText(TMailSender sender)
{
    switch (sender) {
    case TMailSender::msStandardClient: return QStringLiteral("Standard-E-Mail-Client");
    case TMailSender::msKalvex: return QStringLiteral("Kalvex");
    case TMailSender::msUndefined: break;
    }
    return QStringLiteral("undefiniert");
}

QString JoinLines(const QStringList& lines)
{
    return lines.join(QStringLiteral("\r\n"));
}

QStringList SplitLines(const QString& text)
{
    if (text.isEmpty())
        return {};
    static const QRegularExpression breaks(QStringLiteral("\r\n|\n|\r"));
    return text.split(breaks);
}

QStringList NonEmptyTrimmed(const QStringList& list)
{
    QStringList out;
    for (const QString& s : list)
        if (!s.trimmed().isEmpty())
            out << s.trimmed();
    return out;
}

double DateTimeToDays(const QDateTime& dt)
{
    return static_cast<double>(epoch().msecsTo(dt)) / 86400000.0;
}

QDateTime DaysToDateTime(double days)
{
    if (!std::isfinite(days))
        return QDateTime();
    return epoch().addMSecs(static_cast<qint64>(std::llround(days * 86400000.0)));
}

void TAnhang::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(FID);
    w.WriteInteger(FMailID);
    w.WriteString(FPfad);
    w.WriteDouble(FDateigroesse);
    w.WriteBytes(FObjekt);
}

void TAnhang::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    FID = r.ReadInteger();
    FMailID = r.ReadInteger();
    FPfad = r.ReadString();
    FDateigroesse = r.ReadDouble();
    FObjekt = r.ReadBytes();
}

void TAnhangListe::SaveToStream(TStreamWriter& w) const
{
    WriteRecordList(w, *this);
}

void TAnhangListe::LoadFromStream(TStreamReader& r)
{
    ReadRecordList<TAnhang>(r, *this);
}

void TEMailEmpfaenger::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(FID);
    w.WriteInteger(FMailID);
    w.WriteString(FAdresse);
    w.WriteString(FGanzerName);
    w.WriteString(FFirma);
    w.WriteInteger(FAdressDB_ID);
    w.WriteInteger(static_cast<int32_t>(FEmpfType));
}

void TEMailEmpfaenger::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    FID = r.ReadInteger();
    FMailID = r.ReadInteger();
    FAdresse = r.ReadString();
    FGanzerName = r.ReadString();
    FFirma = r.ReadString();
    FAdressDB_ID = r.ReadInteger();
    FEmpfType = checkedEnum<TEmpfaengerTyp>(r.ReadInteger(), 2);
}

void TEMailEmpfaengerListe::SaveToStream(TStreamWriter& w) const
{
    WriteRecordList(w, *this);
}

void TEMailEmpfaengerListe::LoadFromStream(TStreamReader& r)
{
    ReadRecordList<TEMailEmpfaenger>(r, *this);
}

void TEMail::SetStatus(TMailStatus status)
{
    FStatus = status;
    FStatusStr = MailStatusText(status);
}

void TEMail::Convert()
{
    FAn.clear();
    FCc.clear();
    FBcc.clear();
    for (const auto& r : FLEmpfaenger) {
        QStringList& list = r->FEmpfType == TEmpfaengerTyp::elCc ? FCc : r->FEmpfType == TEmpfaengerTyp::elBcc ? FBcc : FAn;
        list << r->FAdresse;
    }
}

void TEMail::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(FID);
    w.WriteInteger(static_cast<int32_t>(FStatus));
    w.WriteInteger(static_cast<int32_t>(FSender));
    w.WriteDouble(FDatum);
    w.WriteString(FVon);
    w.WriteString(FBetreff);
    w.WriteString(JoinLines(FBodyHTML));
    w.WriteString(FBodyRTF);
    w.WriteString(FBodyPlain);
    w.WriteString(FGesendetDurch);
    w.WriteString(JoinLines(FAn));
    w.WriteString(JoinLines(FCc));
    w.WriteString(JoinLines(FBcc));
    w.WriteString(JoinLines(FAnhaenge));
    FLAnhaengeBlob.SaveToStream(w);
    FLEmpfaenger.SaveToStream(w);
}

void TEMail::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() == KStreamVersion)
        readBody(r);
}

void TEMail::readBody(TStreamReader& r)
{
    FID = r.ReadInteger();
    SetStatus(checkedEnum<TMailStatus>(r.ReadInteger(), 2));
    FSender = checkedEnum<TMailSender>(r.ReadInteger(), 2);
    FDatum = r.ReadDouble();
    FVon = r.ReadString();
    FBetreff = r.ReadString();
    FBodyHTML = SplitLines(r.ReadString());
    FBodyRTF = r.ReadString();
    FBodyPlain = r.ReadString();
    FGesendetDurch = r.ReadString();
    FAn = SplitLines(r.ReadString());
    FCc = SplitLines(r.ReadString());
    FBcc = SplitLines(r.ReadString());
    FAnhaenge = SplitLines(r.ReadString());
    FLAnhaengeBlob.LoadFromStream(r);
    FLEmpfaenger.LoadFromStream(r);
}

TEMail* TEMailListe::FindByID(int32_t id)
{
    for (auto& mail : *this)
        if (mail->FID == id)
            return mail.get();
    return nullptr;
}

void TEMailListe::SaveToStream(TStreamWriter& w) const
{
    WriteRecordList(w, *this);
}

void TEMailListe::LoadFromStream(TStreamReader& r)
{
    ReadRecordList<TEMail>(r, *this);
}

}  // namespace kalvex
