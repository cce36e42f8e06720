#pragma once
// A JSON text built in order: objects, arrays and plain values, with commas and indentation handled; the
// benchmark's results and the software Target's stream report.
#include <cstdint>
#include <string>

namespace TESSERA {

class JsonWriter {
public:
    // indented: each value on a line of its own; else one line, values parted by ", ".
    explicit JsonWriter(bool indented = true) : indented(indented) {}
    // name is empty inside an array.
    void open(const std::string& name = "");
    void close();
    void openArray(const std::string& name);
    void closeArray();
    void number(const std::string& name, double value);
    void integer(const std::string& name, int64_t value);
    void count(const std::string& name, uint64_t value);
    // A number with this many digits after the point.
    void fixed(const std::string& name, double value, int digits);
    void flag(const std::string& name, bool value);
    void text(const std::string& name, const std::string& value);
    // A ready-made JSON value.
    void raw(const std::string& name, const std::string& json);
    const std::string& str() const { return out; }

private:
    void key(const std::string& name);
    void begin(const std::string& name, char bracket);
    void end(char bracket);
    static std::string quoted(const std::string& value);

    bool indented;
    std::string out;
    bool first = true;
    int depth = 0;
};

} // namespace TESSERA
