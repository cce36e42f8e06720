#pragma once
// A JSON text built in order: objects, arrays and plain values, with commas and indentation handled.
#include <cstdint>
#include <string>

namespace TESSERA {

class JsonWriter {
public:
    // name is empty inside an array.
    void open(const std::string& name = "");
    void close();
    void openArray(const std::string& name);
    void closeArray();
    void number(const std::string& name, double value);
    void integer(const std::string& name, int64_t value);
    void flag(const std::string& name, bool value);
    void text(const std::string& name, const std::string& value);
    // A ready-made JSON value.
    void raw(const std::string& name, const std::string& json);
    const std::string& str() const { return out; }

private:
    void key(const std::string& name);
    static std::string quoted(const std::string& value);

    std::string out;
    bool first = true;
    int depth = 0;
};

} // namespace TESSERA
