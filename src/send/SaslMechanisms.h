#pragma once
// The SASL mechanisms of the SMTP client, in the order of preference:
// CRAM-SHA1, CRAM-MD5, S/KEY, OTP, ANONYMOUS, EXTERNAL, LOGIN, PLAIN.
// Each turns server challenges into responses; the session carries them.

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

namespace kalvex {

struct TSaslCredentials {
    QString user;
    QString password;
};

class TSaslMechanism {
public:
    virtual ~TSaslMechanism() = default;
    virtual QByteArray Name() const = 0;
    // Sent with the AUTH command, before any challenge (raw, not base64).
    virtual std::optional<QByteArray> InitialResponse() { return std::nullopt; }
    // The answer to one decoded challenge (raw, not base64). Raises EKalvex
    // when the challenge makes no sense to the mechanism.
    virtual QByteArray Respond(const QByteArray& challenge) = 0;
    // How many challenges the exchange takes at most; a server asking for
    // more is not answered.
    virtual int MaxChallenges() const { return 1; }
    // S/KEY and OTP: a refusal may only mean the sequence is out of step.
    virtual bool IsOneTimePassword() const { return false; }
};

// The eight mechanisms in preference order; those that need credentials get
// them (ANONYMOUS and EXTERNAL do not).
std::vector<std::unique_ptr<TSaslMechanism>> CreateSaslMechanisms(const TSaslCredentials& credentials);
// The first mechanism of the preference list that the server announced;
// null when none is common.
TSaslMechanism* ChooseSaslMechanism(const std::vector<std::unique_ptr<TSaslMechanism>>& mechanisms,
                                    const QList<QByteArray>& announced);

// The next mechanism after current in preference order that the server
// announced; null when there is none.
TSaslMechanism* NextSaslMechanism(const std::vector<std::unique_ptr<TSaslMechanism>>& mechanisms,
                                  const QList<QByteArray>& announced, const TSaslMechanism* current);

// RFC 2289 one-time password for "otp-md5"/"otp-sha1" challenges, as
// "hex:" + 16 hex digits.
QByteArray OneTimePassword(const QByteArray& algorithm, int sequence, const QByteArray& seed, const QByteArray& secret);

}  // namespace kalvex
