#pragma once
// A program's command line as a table of options: reading "--name VALUE", "--name=VALUE" and flags, and
// the help text laid out in two columns. The Target and the sender share it.
#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace TESSERA {

template <typename Settings> struct CommandOption {
    const char* name;     // null: a heading of the help
    const char* argument; // null: a flag without a value
    const char* help;
    bool (*apply)(Settings&, const std::string&, std::string&);
};

// Applies the option at arguments[i] and moves i past its value; false with the reason in error.
template <typename Settings>
bool applyOption(const std::vector<CommandOption<Settings>>& table, const std::vector<std::string>& arguments,
                 size_t& i, Settings& settings, std::string& error) {
    std::string name = arguments[i];
    std::string value;
    bool inlineValue = false;
    if (const size_t equals = name.find('='); name.rfind("--", 0) == 0 && equals != std::string::npos) {
        value = name.substr(equals + 1);
        name.resize(equals);
        inlineValue = true;
    }
    if (name == "-h") name = "--help";
    const CommandOption<Settings>* found = nullptr;
    for (const auto& option : table)
        if (option.name && name == option.name) found = &option;
    if (!found) {
        error = "unknown option \"" + arguments[i] + "\"";
        return false;
    }
    if (found->argument && !inlineValue) {
        if (i + 1 == arguments.size()) {
            error = name + " needs a value: " + found->argument;
            return false;
        }
        value = arguments[++i];
    } else if (!found->argument && inlineValue) {
        error = name + " takes no value";
        return false;
    }
    return found->apply(settings, value, error);
}

// The options under their headings; each meaning starts in column indent (on the next line after a long
// name) and wraps at word ends before width.
template <typename Settings>
std::string optionsHelp(const std::vector<CommandOption<Settings>>& table, size_t indent, size_t width) {
    std::string text;
    for (const auto& option : table) {
        if (!option.name) {
            text += std::string("\n") + option.help + ":\n";
            continue;
        }
        std::string line =
            std::string("  ") + option.name + (option.argument ? std::string(" ") + option.argument : "");
        if (line.size() >= indent) {
            text += line + "\n";
            line.clear();
        }
        const std::string words = option.help;
        for (size_t start = 0; start < words.size();) {
            const size_t end = std::min(words.find(' ', start), words.size());
            const std::string word = words.substr(start, end - start);
            if (line.size() > indent && line.size() + 1 + word.size() > width) {
                text += line + "\n";
                line.clear();
            }
            line.resize(std::max(line.size(), indent), ' ');
            if (line.size() > indent) line += ' ';
            line += word;
            start = end + 1;
        }
        text += line + "\n";
    }
    return text;
}

} // namespace TESSERA
