#include "compose/SpellDictionary.h"

#include "config/LogFileUnit.h"

#include <QFileInfo>
#include <QStringDecoder>
#include <QStringEncoder>
#include <hunspell/hunspell.hxx>

namespace kalvex {

namespace {

// Hunspell writes "ISO8859-1" where Qt and ICU expect "ISO-8859-1".
QByteArray qtEncodingName(const std::string& hunspellName)
{
    QByteArray name = QByteArray::fromStdString(hunspellName).trimmed().toUpper();
    if (name.startsWith("ISO8859"))
        name.insert(3, '-');
    if (name.isEmpty() || !QStringEncoder(name.constData()).isValid())
        return QByteArrayLiteral("ISO-8859-1");   // Hunspell's own default
    return name;
}

}  // namespace

std::unique_ptr<THunspellDictionary> THunspellDictionary::Load(const QString& folder, const QString& language)
{
    const QString base = folder + QLatin1Char('/') + language;
    const QString aff = base + QStringLiteral(".aff");
    const QString dic = base + QStringLiteral(".dic");
    if (!QFileInfo(aff).isFile() || !QFileInfo(dic).isFile())
        return nullptr;
    auto hunspell = std::make_unique<Hunspell>(QFile::encodeName(aff).constData(), QFile::encodeName(dic).constData());
    return std::unique_ptr<THunspellDictionary>(new THunspellDictionary(std::move(hunspell)));
}

THunspellDictionary::THunspellDictionary(std::unique_ptr<Hunspell> hunspell)
    : FHunspell(std::move(hunspell)), FEncoding(qtEncodingName(FHunspell->get_dict_encoding()))
{
}

THunspellDictionary::~THunspellDictionary() = default;

bool THunspellDictionary::Spell(const QString& word) const
{
    std::string bytes;
    return !encode(word, bytes) || FHunspell->spell(bytes);
}

QStringList THunspellDictionary::Suggest(const QString& word, int max) const
{
    std::string bytes;
    QStringList result;
    if (!encode(word, bytes))
        return result;
    for (const std::string& s : FHunspell->suggest(bytes)) {
        if (result.size() == max)
            break;
        result << decode(s);
    }
    return result;
}

QString THunspellDictionary::Encoding() const
{
    return QString::fromLatin1(FEncoding);
}

bool THunspellDictionary::encode(const QString& word, std::string& out) const
{
    QStringEncoder encoder(FEncoding.constData(), QStringConverter::Flag::Stateless);
    const QByteArray bytes = encoder.encode(word);
    out = bytes.toStdString();
    // Qt's Latin-1 encoder writes "?" for what it cannot hold without an error.
    return !encoder.hasError() && decode(out) == word;
}

QString THunspellDictionary::decode(const std::string& bytes) const
{
    QStringDecoder decoder(FEncoding.constData(), QStringConverter::Flag::Stateless);
    return decoder.decode(QByteArray::fromStdString(bytes));
}

std::shared_ptr<const THunspellDictionary> TSpellDictionaries::get(const QString& folder, const QString& language)
{
    const QString key = folder + QLatin1Char('/') + language;
    if (auto it = FLoaded.constFind(key); it != FLoaded.constEnd())
        return *it;
    std::shared_ptr<const THunspellDictionary> loaded = THunspellDictionary::Load(folder, language);
    if (!loaded)
        TLogFile::LogGlobal(true, QStringLiteral("Rechtschreibprüfung aus: kein Wörterbuch %1 (.aff/.dic)").arg(key));
    FLoaded.insert(key, loaded);
    return loaded;
}

}  // namespace kalvex
