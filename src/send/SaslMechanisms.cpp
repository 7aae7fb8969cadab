#include "send/SaslMechanisms.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>

namespace kalvex {

namespace {

class TCramMechanism : public TSaslMechanism {
public:
    TCramMechanism(QByteArray name, QCryptographicHash::Algorithm algorithm, TSaslCredentials c)
        : FName(std::move(name)), FAlgorithm(algorithm), FCredentials(std::move(c)) {}
    QByteArray Name() const override { return FName; }
    QByteArray Respond(const QByteArray& challenge) override
    {
        const QByteArray digest =
            QMessageAuthenticationCode::hash(challenge, FCredentials.password.toUtf8(), FAlgorithm).toHex();
        return FCredentials.user.toUtf8() + ' ' + digest;
    }

private:
    QByteArray FName;
    QCryptographicHash::Algorithm FAlgorithm;
    TSaslCredentials FCredentials;
};

// OTP: the first response names the user, the second answers the
// "otp-<hash> <sequence> <seed>" challenge in the extended "hex:" form.
class TOtpMechanism : public TSaslMechanism {
public:
    explicit TOtpMechanism(TSaslCredentials c) : FCredentials(std::move(c)) {}
    QByteArray Name() const override { return "OTP"; }
    bool IsOneTimePassword() const override { return true; }
    std::optional<QByteArray> InitialResponse() override { return QByteArray() + '\0' + FCredentials.user.toUtf8(); }
    QByteArray Respond(const QByteArray& challenge) override
    {
        const QList<QByteArray> parts = challenge.simplified().split(' ');
        bool ok = false;
        const int sequence = parts.value(1).toInt(&ok);
        if (parts.size() < 3 || !ok || !parts[0].startsWith("otp-"))
            throw EKalvex(Tx(1000, "Der SMTP-Server hat eine unverständliche Einmalkennwort-Anfrage gesendet."));
        return OneTimePassword(parts[0].mid(4), sequence, parts[2], FCredentials.password.toUtf8());
    }

private:
    TSaslCredentials FCredentials;
};

// S/KEY: the user name, then the "<sequence> <seed>" challenge answered
// with the MD4 one-time password in hexadecimal.
class TSkeyMechanism : public TSaslMechanism {
public:
    explicit TSkeyMechanism(TSaslCredentials c) : FCredentials(std::move(c)) {}
    QByteArray Name() const override { return "SKEY"; }
    bool IsOneTimePassword() const override { return true; }
    std::optional<QByteArray> InitialResponse() override { return FCredentials.user.toUtf8(); }
    QByteArray Respond(const QByteArray& challenge) override
    {
        const QList<QByteArray> parts = challenge.simplified().split(' ');
        bool ok = false;
        const int sequence = parts.value(0).toInt(&ok);
        if (parts.size() != 2 || !ok || sequence < 0)
            throw EKalvex(Tx(1000, "Der SMTP-Server hat eine unverständliche Einmalkennwort-Anfrage gesendet."));
        return OneTimePassword("md4", sequence, parts[1], FCredentials.password.toUtf8()).mid(4);
    }

private:
    TSaslCredentials FCredentials;
};

class TAnonymousMechanism : public TSaslMechanism {
public:
    QByteArray Name() const override { return "ANONYMOUS"; }
    int MaxChallenges() const override { return 0; }   // all said in the initial response
    std::optional<QByteArray> InitialResponse() override { return QByteArray("kalvex"); }
    QByteArray Respond(const QByteArray&) override { return "kalvex"; }
};

class TExternalMechanism : public TSaslMechanism {
public:
    QByteArray Name() const override { return "EXTERNAL"; }
    int MaxChallenges() const override { return 0; }
    std::optional<QByteArray> InitialResponse() override { return QByteArray(); }
    QByteArray Respond(const QByteArray&) override { return {}; }
};

// LOGIN answers "Username:" and then "Password:".
class TLoginMechanism : public TSaslMechanism {
public:
    explicit TLoginMechanism(TSaslCredentials c) : FCredentials(std::move(c)) {}
    QByteArray Name() const override { return "LOGIN"; }
    int MaxChallenges() const override { return 2; }   // user name, password
    QByteArray Respond(const QByteArray&) override
    {
        return FStep++ == 0 ? FCredentials.user.toUtf8() : FCredentials.password.toUtf8();
    }

private:
    TSaslCredentials FCredentials;
    int FStep = 0;
};

class TPlainMechanism : public TSaslMechanism {
public:
    explicit TPlainMechanism(TSaslCredentials c) : FCredentials(std::move(c)) {}
    QByteArray Name() const override { return "PLAIN"; }
    int MaxChallenges() const override { return 0; }
    std::optional<QByteArray> InitialResponse() override { return message(); }
    QByteArray Respond(const QByteArray&) override { return message(); }

private:
    QByteArray message() const
    {
        return QByteArray() + '\0' + FCredentials.user.toUtf8() + '\0' + FCredentials.password.toUtf8();
    }
    TSaslCredentials FCredentials;
};

// Folds a digest to 64 bits as RFC 2289 prescribes for each hash.
QByteArray foldTo64(const QByteArray& digest, bool sha1)
{
    QByteArray out(8, '\0');
    for (int i = 0; i < 8; ++i)
        out[i] = static_cast<char>(digest[i] ^ digest[i + 8]);
    if (sha1) {
        for (int i = 0; i < 4; ++i)
            out[i] = static_cast<char>(out[i] ^ digest[i + 16]);
        // RFC 2289 appendix A: SHA-1 words are folded little-endian per word.
        QByteArray swapped(8, '\0');
        for (int w = 0; w < 2; ++w)
            for (int b = 0; b < 4; ++b)
                swapped[w * 4 + b] = out[w * 4 + 3 - b];
        return swapped;
    }
    return out;
}

}  // namespace

namespace {

QCryptographicHash::Algorithm otpHash(const QByteArray& algorithm)
{
    const QByteArray name = algorithm.toLower();
    if (name == "sha1")
        return QCryptographicHash::Sha1;
    if (name == "md5")
        return QCryptographicHash::Md5;
    if (name == "md4")   // S/KEY's own hash
        return QCryptographicHash::Md4;
    throw EKalvex(Tx(1001, "Das Einmalkennwort-Verfahren %1 wird nicht unterstützt.").arg(QString::fromLatin1(algorithm)));
}

}  // namespace

QByteArray OneTimePassword(const QByteArray& algorithm, int sequence, const QByteArray& seed, const QByteArray& secret)
{
    const auto hash = otpHash(algorithm);
    const bool sha1 = hash == QCryptographicHash::Sha1;
    QByteArray value = foldTo64(QCryptographicHash::hash(seed.toLower() + secret, hash), sha1);
    for (int i = 0; i < sequence; ++i)
        value = foldTo64(QCryptographicHash::hash(value, hash), sha1);
    return "hex:" + value.toHex();
}

std::vector<std::unique_ptr<TSaslMechanism>> CreateSaslMechanisms(const TSaslCredentials& c)
{
    std::vector<std::unique_ptr<TSaslMechanism>> list;
    list.push_back(std::make_unique<TCramMechanism>("CRAM-SHA1", QCryptographicHash::Sha1, c));
    list.push_back(std::make_unique<TCramMechanism>("CRAM-MD5", QCryptographicHash::Md5, c));
    list.push_back(std::make_unique<TSkeyMechanism>(c));
    list.push_back(std::make_unique<TOtpMechanism>(c));
    list.push_back(std::make_unique<TAnonymousMechanism>());
    list.push_back(std::make_unique<TExternalMechanism>());
    list.push_back(std::make_unique<TLoginMechanism>(c));
    list.push_back(std::make_unique<TPlainMechanism>(c));
    return list;
}

TSaslMechanism* ChooseSaslMechanism(const std::vector<std::unique_ptr<TSaslMechanism>>& mechanisms,
                                    const QList<QByteArray>& announced)
{
    return NextSaslMechanism(mechanisms, announced, nullptr);
}

TSaslMechanism* NextSaslMechanism(const std::vector<std::unique_ptr<TSaslMechanism>>& mechanisms,
                                  const QList<QByteArray>& announced, const TSaslMechanism* current)
{
    bool passed = current == nullptr;
    for (const auto& m : mechanisms) {
        if (!passed) {
            passed = m.get() == current;
            continue;
        }
        for (const QByteArray& a : announced)
            if (a.compare(m->Name(), Qt::CaseInsensitive) == 0)
                return m.get();
    }
    return nullptr;
}

}  // namespace kalvex
