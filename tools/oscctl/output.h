// Where oscctl's own output goes, and how it is shaped (tables or JSON).
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/events.h"

namespace oscctl {

// The handler and the client library print to standard output themselves, so
// fd 1 is pointed at stderr for them and oscctl writes to a private copy of
// the real standard output.
class Output {
public:
    static Output& instance();

    // Duplicates fd 1 for oscctl and redirects fd 1 to fd 2. Call once, first.
    void capture_stdout();
    // Drops what the libraries print to fd 1 (shown with --verbose only).
    void silence_library_stdout();
    void set_json(bool json) { json_ = json; }
    bool json() const { return json_; }

    // A document as the library produced it, unchanged (JSON mode and human mode).
    void document(const std::string& text);
    // A document oscctl builds (JSON mode); compact, one line.
    void document(const nlohmann::json& value);
    // A human line; suppressed in JSON mode so that stdout stays one document.
    void line(const std::string& text);
    // Raw text (a table); human mode only.
    void raw(const std::string& text);
    // Collected for one camera of many rather than written at once.
    bool collected() const { return sink_ != nullptr; }
    // Bytes as they are (a picture written to standard output).
    void binary(const std::string& bytes);

    // The same output collected into `sink` instead, for one camera of a
    // fleet whose answers are printed together at the end.
    Output collected_into(std::string* sink) const;

private:
    std::FILE* out_ = stdout;
    bool json_ = false;
    std::string* sink_ = nullptr;
};

using Row = std::vector<std::string>;

// Columns padded to their widest cell; the first row is the header.
std::string format_table(const std::vector<Row>& rows);

// A callback of the handler as one JSON object {"event": KIND, "ip": ...};
// nothing for what the host layer reads from the log alone.
std::optional<nlohmann::json> event_json(const oschost::Event& event);

// The settings the document states a range for, as rows: name, min, max,
// current, unit.
std::vector<Row> settings_rows(const nlohmann::json& params);
// The other members of a parameter document as "name  value" rows.
std::vector<Row> details_rows(const nlohmann::json& params);

}  // namespace oscctl
