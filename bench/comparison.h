// Figures of two client libraries side by side. Each library is measured in
// its own fleet_bench process, which writes its figures as result lines
// (tab-separated, tagged with a label); `fleet_bench table` joins the lines
// of both into one markdown table, before and after.
#pragma once

#include <istream>
#include <string>

#include "summary.h"

namespace bench {

// Tags every result line this process writes ("before", "after").
extern std::string g_label;

// Writes the figure as one result line on standard output. Its goal, if
// any, is a comparison with a number: "<= 1.15", ">= 0.90", "< 1000 us".
void emit(const Figure& figure);

// Reads result lines (other lines are skipped) and prints one row per
// figure, in the order they first appear, with the runs labelled `before`
// and `after` in two columns.
void print_comparison(std::istream& in, const std::string& before, const std::string& after);

}  // namespace bench
