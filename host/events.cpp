#include "events.h"

namespace oschost {

bool RequestFailure::no_answer() const {
    return reason == osc_texts::kRequestException;
}

bool CommandResult::no_answer() const {
    if (ok) return false;
    return failure ? failure->no_answer() : message == osc_texts::kRequestException;
}

const std::string& camera_of(const Event& event) {
    static const std::string kNone;
    return std::visit(
        [](const auto& e) -> const std::string& {
            if constexpr (std::is_same_v<std::decay_t<decltype(e)>, DeviceList>)
                return kNone;
            else
                return e.ip;
        },
        event);
}

bool is_failure(const Event& event) {
    if (const auto* result = std::get_if<CommandResult>(&event)) return !result->ok;
    if (const auto* reboot = std::get_if<RebootState>(&event)) return !reboot->accepted;
    return std::holds_alternative<AnswerUnusable>(event);
}

}  // namespace oschost
