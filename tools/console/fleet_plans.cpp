#include "tools/console/fleet_plans.h"

#include "host/settings_table.h"

namespace osconsole {

std::vector<ActionRequest> copy_steps(const ParamsDocument& source) {
    std::vector<ActionRequest> steps;
    for (const oschost::Setting& setting : oschost::settings()) {
        if (!setting.advertised()) continue;
        const auto value = source.parsed.find(setting.member);
        if (value != source.parsed.end() && value->is_number_integer())
            steps.push_back({setting.name, value->get<int>()});
    }
    const int mode = source.mode.value_or(0);
    const auto layout = source.parsed.find("_roi");
    if ((mode == 2 || mode == 3) && layout != source.parsed.end() && layout->is_object())
        steps.push_back({"roi", RoiLayout{*layout}});
    return steps;
}

std::vector<CameraPlan> plan_for(FleetStore& store, AuditLog& audit,
                                 const std::vector<std::string>& cameras,
                                 const std::vector<ActionRequest>& steps, const Actor& actor) {
    std::vector<CameraPlan> plan;
    for (const std::string& ip : cameras) {
        CameraPlan& camera = plan.emplace_back(CameraPlan{ip, steps, ""});
        for (const ActionRequest& step : steps) {
            if (const auto refusal = check_action(store, audit, ip, step, actor)) {
                camera.refusal = refusal->message;
                break;
            }
        }
    }
    return plan;
}

}  // namespace osconsole
