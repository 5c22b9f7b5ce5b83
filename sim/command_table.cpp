#include <map>

#include "sim/commands.h"

namespace oscsim {

const CommandHandler* find_command(const std::string& name) {
    static const std::map<std::string, CommandHandler> table = {
        {"camera.getOptions", get_options},
        {"camera.setOptions", set_options},
        {"camera._cmdLine", command_line},
        {"camera._getLivePreview", start_live_preview},
        {"camera._stopLivePreview", stop_live_preview},
        {"camera.startCapture", start_capture},
        {"camera._reboot", reboot},
        {"camera._update", update_firmware},
    };
    const auto it = table.find(name);
    return it == table.end() ? nullptr : &it->second;
}

}  // namespace oscsim
