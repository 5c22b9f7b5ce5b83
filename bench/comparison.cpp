#include "comparison.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

namespace bench {

std::string g_label = "after";

namespace {

constexpr const char* kTag = "result";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, separator)) parts.push_back(part);
    if (!text.empty() && text.back() == separator) parts.emplace_back();
    return parts;
}

// Whether the median holds the goal's comparison.
bool meets(const std::string& goal, double median) {
    std::size_t op = goal[1] == '=' ? 2 : 1;
    const double bound = std::strtod(goal.c_str() + op, nullptr);
    if (goal.rfind("<=", 0) == 0) return median <= bound;
    if (goal.rfind(">=", 0) == 0) return median >= bound;
    if (goal[0] == '<') return median < bound;
    return median > bound;
}

struct Row {
    std::string benchmark, name, unit, goal;
    int decimals = 1;
    std::map<std::string, std::vector<double>> runs;  // by label
};

std::string cell(const Row& row, const std::string& label) {
    const auto found = row.runs.find(label);
    if (found == row.runs.end() || found->second.empty()) return "-";
    const Spread s = spread(found->second);
    std::string text = fixed(s.median, row.decimals) + (row.unit.empty() ? "" : " " + row.unit);
    if (found->second.size() > 1) {
        text += " (" + fixed(s.min, row.decimals) + "-" + fixed(s.max, row.decimals) + ")";
    }
    return text;
}

std::string met(const Row& row, const std::string& label) {
    const auto found = row.runs.find(label);
    if (row.goal.empty() || found == row.runs.end() || found->second.empty()) return "-";
    return meets(row.goal, spread(found->second).median) ? "yes" : "**no**";
}

}  // namespace

void emit(const Figure& f) {
    std::string values;
    for (double v : f.values) values += (values.empty() ? "" : ",") + fixed(v, 6);
    std::printf("%s\t%s\t%s\t%s\t%s\t%d\t%s\t%s\n", kTag, g_label.c_str(), f.benchmark.c_str(),
                f.name.c_str(), f.unit.c_str(), f.decimals, f.goal.c_str(), values.c_str());
    std::fflush(stdout);
}

void print_comparison(std::istream& in, const std::string& before, const std::string& after) {
    std::vector<Row> rows;
    std::map<std::pair<std::string, std::string>, std::size_t> index;
    for (std::string line; std::getline(in, line);) {
        const auto f = split(line, '\t');
        if (f.size() != 8 || f[0] != kTag) continue;
        const auto key = std::make_pair(f[2], f[3]);
        auto at = index.find(key);
        if (at == index.end()) {
            at = index.emplace(key, rows.size()).first;
            rows.push_back({f[2], f[3], f[4], f[6], std::atoi(f[5].c_str()), {}});
        }
        auto& values = rows[at->second].runs[f[1]];
        for (const auto& v : split(f[7], ',')) {
            if (!v.empty()) values.push_back(std::strtod(v.c_str(), nullptr));
        }
    }
    std::printf(
        "| Benchmark | Figure | %s: median (min-max) | %s: median (min-max) | Goal | "
        "Met: before / after |\n|---|---|---|---|---|---|\n",
        before.c_str(), after.c_str());
    for (const Row& r : rows) {
        std::printf("| %s | %s | %s | %s | %s | %s / %s |\n", r.benchmark.c_str(), r.name.c_str(),
                    cell(r, before).c_str(), cell(r, after).c_str(),
                    r.goal.empty() ? "-" : r.goal.c_str(), met(r, before).c_str(),
                    met(r, after).c_str());
    }
    std::fflush(stdout);
}

}  // namespace bench
