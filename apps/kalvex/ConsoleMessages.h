#pragma once
// User messages on standard error. A question is answered by a flag given
// on the command line (--yes / --no); without one it fails with a message.

#include "config/UserMessages.h"

#include <optional>

namespace kalvex {

class TConsoleMessages : public IUserMessages {
public:
    explicit TConsoleMessages(std::optional<bool> answer = std::nullopt) : FAnswer(answer) {}
    void ShowError(const QString& text) override;
    void ShowInformation(const QString& text) override;
    bool AskYesNo(const QString& text) override;   // raises EKalvex without an answer flag
    int ErrorCount() const { return FErrors; }

private:
    std::optional<bool> FAnswer;
    int FErrors = 0;
};

}  // namespace kalvex
