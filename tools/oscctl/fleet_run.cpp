#include "tools/oscctl/fleet_run.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <thread>
#include <utility>

#include <fmt/format.h>

namespace oscctl {

namespace {

struct Outcome {
    int status = 0;
    std::string error;
    std::string output;
};

Outcome run_one(CommandContext& base, const CameraAddress& camera, const CommandRun& run,
                const Arguments& args) {
    Outcome outcome;
    Output out = base.out.collected_into(&outcome.output);
    CommandContext ctx{base.events, out, base.timeout, camera, base.cursor};
    try {
        outcome.status = run(ctx, args);
    } catch (const CommandFailure& failure) {
        outcome.status = failure.exit_code();
        outcome.error = failure.what();
    } catch (const std::exception& error) {
        outcome.status = kExitFailed;
        outcome.error = error.what();
    }
    return outcome;
}

// What a camera's command printed in JSON mode: one document, or several.
nlohmann::json collected_documents(const std::string& output) {
    nlohmann::json documents = nlohmann::json::array();
    std::istringstream lines(output);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.empty()) continue;
        auto document = nlohmann::json::parse(line, nullptr, false);
        documents.push_back(document.is_discarded() ? nlohmann::json(line) : document);
    }
    if (documents.empty()) return nullptr;
    if (documents.size() == 1) return documents[0];
    return documents;
}

}  // namespace

std::vector<CameraAddress> camera_arguments(const std::string& text) {
    oschost::CameraList list = oschost::parse_camera_list(text);
    if (!list.skipped.empty()) throw CommandFailure(list.skipped.front().second);
    if (list.cameras.empty()) throw CommandFailure("no camera given");
    return std::move(list.cameras);
}

int run_on_fleet(CommandContext& base, const std::vector<CameraAddress>& cameras,
                 const CommandRun& run, const Arguments& args) {
    std::vector<Outcome> outcomes(cameras.size());
    std::vector<std::thread> workers;
    workers.reserve(cameras.size());
    for (std::size_t i = 0; i < cameras.size(); ++i)
        workers.emplace_back([&, i] { outcomes[i] = run_one(base, cameras[i], run, args); });
    for (auto& worker : workers) worker.join();

    int worst = 0;
    std::size_t failed = 0;
    for (std::size_t i = 0; i < cameras.size(); ++i) {
        const Outcome& outcome = outcomes[i];
        worst = std::max(worst, outcome.status);
        if (outcome.status != 0) ++failed;
        if (base.out.json()) {
            nlohmann::json line{{"camera", cameras[i].text()}, {"ok", outcome.status == 0}};
            if (outcome.status == 0)
                line["result"] = collected_documents(outcome.output);
            else
                line["error"] = outcome.error;
            base.out.document(line);
            continue;
        }
        base.out.raw(outcome.output);
        if (!outcome.error.empty()) std::fprintf(stderr, "oscctl: %s\n", outcome.error.c_str());
    }
    const std::string summary = fmt::format("{} camera(s): {} done, {} failed", cameras.size(),
                                            cameras.size() - failed, failed);
    if (base.out.json())
        std::fprintf(stderr, "%s\n", summary.c_str());
    else
        base.out.line(summary);
    return worst;
}

}  // namespace oscctl
