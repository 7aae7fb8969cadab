#pragma once
// The one way the module speaks to its user: error, information and Yes/No
// questions. Windows pass a message-box implementation (ui/MessageBoxes),
// the command line one that writes to standard error, tests a recorder.

#include <QString>
#include <QStringList>
#include <deque>
#include <vector>

namespace kalvex {

class IUserMessages {
public:
    virtual ~IUserMessages() = default;
    virtual void ShowError(const QString& text) = 0;
    virtual void ShowInformation(const QString& text) = 0;
    virtual bool AskYesNo(const QString& text) = 0;  // true for "Ja"
    // A question that may also be called off ("Abbrechen", Esc): nothing
    // is to happen then. Without a way to call off it is a Yes/No question.
    enum class TAnswer { Yes, No, Cancel };
    virtual TAnswer AskYesNoCancel(const QString& text) { return AskYesNo(text) ? TAnswer::Yes : TAnswer::No; }
};

// Remembers every message; answers questions from a queue of prepared
// answers, then with the default answer.
class TRecordingMessages : public IUserMessages {
public:
    enum class Kind { Error, Information, Question };
    struct Entry {
        Kind kind;
        QString text;
    };

    void ShowError(const QString& text) override { FEntries.push_back({Kind::Error, text}); }
    void ShowInformation(const QString& text) override { FEntries.push_back({Kind::Information, text}); }
    bool AskYesNo(const QString& text) override
    {
        FEntries.push_back({Kind::Question, text});
        if (FAnswers.empty())
            return FDefaultAnswer;
        const bool answer = FAnswers.front();
        FAnswers.pop_front();
        return answer;
    }

    void QueueAnswer(bool yes) { FAnswers.push_back(yes); }
    void SetDefaultAnswer(bool yes) { FDefaultAnswer = yes; }
    const std::vector<Entry>& Entries() const { return FEntries; }
    QStringList Texts(Kind kind) const
    {
        QStringList out;
        for (const Entry& e : FEntries)
            if (e.kind == kind)
                out << e.text;
        return out;
    }
    void Clear() { FEntries.clear(); }

private:
    std::vector<Entry> FEntries;
    std::deque<bool> FAnswers;
    bool FDefaultAnswer = false;
};

}  // namespace kalvex
