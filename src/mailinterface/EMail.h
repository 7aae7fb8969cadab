#pragma once
// Sent mails and drafts as the host reads them back, with their
// attachments and recipient rows.
//
// Attachment stream (TAnhangListe), matching table KVXAnhang:
//   Integer 1, Integer count, then per attachment:
//   Integer 1, Integer ID, Integer MailID, String Pfad, Double Dateigroesse,
//   Integer byte count + the file's bytes (Objekt).
// Recipient stream (TEMailEmpfaengerListe), matching table KVXEmpfaenger:
//   Integer 1, Integer count, then per recipient:
//   Integer 1, Integer ID, Integer MailID, String Adresse, String GanzerName,
//   String Firma, Integer AdressDB_ID, Integer EmpfType.
// String lists (HTML lines, To, Cc, Bcc, attachment names) travel as one
// text with the entries joined by CR LF; reading accepts CR LF, LF or CR.

#include "mailinterface/Empfaenger.h"
#include "mailinterface/ObjectList.h"
#include "mailinterface/StreamIO.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <memory>

namespace kalvex {

enum class TMailStatus : int32_t { stUndefined = 0, stEntwurf = 1, stGesendet = 2 };
enum class TMailSender : int32_t { msUndefined = 0, msStandardClient = 1, msKalvex = 2 };

QString MailStatusText(TMailStatus status);   // "undefiniert", "bearbeiten", "gesendet"
QString MailSenderText(TMailSender sender);   // "undefiniert", "Standard-E-Mail-Client", "Kalvex"
QString JoinLines(const QStringList& lines);
QStringList SplitLines(const QString& text);
QStringList NonEmptyTrimmed(const QStringList& list);   // each entry trimmed, blank ones left out

class TAnhang {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    int32_t FID = -1;
    int32_t FMailID = -1;
    QString FPfad;
    double FDateigroesse = 0;
    QByteArray FObjekt;
    bool FGespeichert = false;   // the store holds the contents (loaded or not); not streamed
};

class TAnhangListe : public TObjectList<TAnhang> {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);
};

class TEMailEmpfaenger {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    int32_t FID = -1;
    int32_t FMailID = -1;
    QString FAdresse;
    QString FGanzerName;
    QString FFirma;
    int32_t FAdressDB_ID = 0;
    TEmpfaengerTyp FEmpfType = TEmpfaengerTyp::elAn;
};

class TEMailEmpfaengerListe : public TObjectList<TEMailEmpfaenger> {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);
};

struct TPreparedBody;

class TEMail {
public:
    void SetStatus(TMailStatus status);   // keeps FStatusStr in step
    // Fills the To, Cc and Bcc lists from the recipient rows, in row order.
    void Convert();
    // FStatusStr and FSeperatSenden do not travel.
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    int32_t FID = -1;
    QString FStatusStr = MailStatusText(TMailStatus::stUndefined);
    TMailStatus FStatus = TMailStatus::stUndefined;
    TMailSender FSender = TMailSender::msUndefined;
    double FDatum = 0;   // days since 1899-12-30, time as fraction
    QString FVon;
    QString FBetreff;
    QStringList FBodyHTML;
    QString FBodyRTF;
    QString FBodyPlain;
    QString FGesendetDurch;
    bool FSeperatSenden = false;
    QStringList FAn;
    QStringList FCc;
    QStringList FBcc;
    QStringList FAnhaenge;
    TAnhangListe FLAnhaengeBlob;
    TEMailEmpfaengerListe FLEmpfaenger;
    // Set by a mailing run for one recipient's mail: its text parts as they
    // go out, encoded from the run's template (the body fields then keep the
    // template). Shared, read-only; never stored or streamed.
    std::shared_ptr<const TPreparedBody> FPreparedBody;

private:
    void readBody(TStreamReader& r);
};

class TEMailListe : public TObjectList<TEMail> {
public:
    TEMail* FindByID(int32_t id);
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);
};

// Date-time as days since 1899-12-30 (the host's format) and back.
double DateTimeToDays(const QDateTime& dt);
QDateTime DaysToDateTime(double days);

}  // namespace kalvex
