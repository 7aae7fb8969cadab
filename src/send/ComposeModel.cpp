#include "send/ComposeModel.h"

#include "config/BodyFont.h"

#include "config/InterfaceLocale.h"

#include "mailinterface/MailAddress.h"
#include "mailinterface/RecipientKey.h"

#include <QFileInfo>
#include <QTextDocument>

namespace kalvex {

QString FormatSizeMB(double sizeMB)
{
    const QString text = ListNumber(sizeMB, 2);
    return text == ListNumber(0.0, 2) ? ListNumber(0.01, 2) : text;
}

TComposeModel::TComposeModel() : FBody(std::make_unique<QTextDocument>())
{
    FBody->setDefaultFont(DefaultBodyFont());
}

TComposeModel::~TComposeModel() = default;

TRecipientPerson RecipientPerson(const TComposeRecipient& r)
{
    TRecipientPerson p = r.person;
    const std::optional<TMailbox> box = ParseMailbox(r.email);
    if (p.email.isEmpty())
        p.email = box ? box->Address() : r.email;
    if (p.fullName.isEmpty() && p.firstName.isEmpty() && p.lastName.isEmpty())
        p.fullName = r.name.isEmpty() && box ? box->displayName : r.name;
    if (p.company.isEmpty())
        p.company = r.company;
    SplitFullName(p);
    return p;
}

bool TComposeModel::AddRecipient(const TComposeRecipient& recipient)
{
    syncRecipientKeys();
    const QString key = RecipientKey(recipient.email);
    if (FRecipientKeys.contains(key))
        return false;
    FRecipientKeys.insert(key);
    Recipients.push_back(recipient);
    FKeyedRows = Recipients.size();
    return true;
}

void TComposeModel::syncRecipientKeys()
{
    if (FKeyedRows == Recipients.size())
        return;
    FRecipientKeys.clear();
    for (const TComposeRecipient& r : Recipients)
        FRecipientKeys.insert(RecipientKey(r.email));
    FKeyedRows = Recipients.size();
}

QString TComposeModel::AddAddressList(const QString& text, TEmpfaengerTyp kind)
{
    const TAddressList list = ParseAddressList(text);
    if (!list.valid)
        return list.invalid;
    for (const TMailbox& m : list.mailboxes)
        AddRecipient({m.ToString(), m.displayName, {}, 0, 0, 0, kind});
    return {};
}

bool TComposeModel::AddAttachment(const QString& file)
{
    for (const TComposeAttachment& a : Attachments)
        if (a.file == file)
            return false;
    Attachments.push_back({file, static_cast<double>(QFileInfo(file).size()) / (1024.0 * 1024.0)});
    return true;
}

void TComposeModel::Clear()
{
    Subject.clear();
    FBody->clear();
    Recipients.clear();
    Attachments.clear();
}

}  // namespace kalvex
