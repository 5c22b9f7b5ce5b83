#include "tools/console/operation_results.h"

#include "tools/console/reducers.h"

namespace osconsole {

namespace {

std::string failure_message(const oschost::CommandResult& r) {
    std::string text = r.message.empty() ? "failed" : r.message;
    const std::string cause = r.failure ? r.failure->cause : "";
    if (!cause.empty() && cause != text) text += " (" + cause + ")";
    return text;
}

struct Rule {
    const std::string& operation;

    std::optional<Settled> operator()(const oschost::CommandResult& r) const {
        if (r.command == operation) return Settled{r.ok, r.ok ? "" : failure_message(r)};
        if (is_firmware_command(operation))
            // A firmware transfer goes on while other requests time out
            // beside it; only its own failure ends it.
            return is_firmware_failure(r) ? std::optional<Settled>({false, failure_message(r)})
                                          : std::nullopt;
        // The handler drops the camera's queue: what was queued never goes out.
        if (r.no_answer()) {
            const bool cause = r.failure && !r.failure->cause.empty();
            return Settled{false, "not answering: " + (cause ? r.failure->cause : r.message)};
        }
        // A whole document comes from several requests, each reported by its own.
        if (operation == "GetCameraSettings" && !r.ok && r.command.empty())
            return Settled{false,
                           (r.failure ? r.failure->request + ": " : "") + failure_message(r)};
        return std::nullopt;
    }
    std::optional<Settled> operator()(const oschost::RebootState& s) const {
        if (operation != "RebootCamera") return std::nullopt;
        if (s.accepted) return Settled{true, ""};
        return Settled{false, s.failure ? s.failure->reason : "the camera refused the reboot"};
    }
    std::optional<Settled> operator()(const oschost::ParamsReport&) const {
        if (operation != "GetCameraSettings") return std::nullopt;
        return Settled{true, ""};
    }
    std::optional<Settled> operator()(const oschost::FirmwareProgress& p) const {
        if (!p.finished || !is_firmware_command(operation)) return std::nullopt;
        return Settled{true, ""};
    }
    template <typename Other>
    std::optional<Settled> operator()(const Other&) const {
        return std::nullopt;
    }
};

}  // namespace

std::optional<Settled> settles(const std::string& operation, const oschost::Event& event) {
    return std::visit(Rule{operation}, event);
}

}  // namespace osconsole
