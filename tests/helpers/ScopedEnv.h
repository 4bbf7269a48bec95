// ScopedEnv: sets or unsets environment variables for one test and restores them after.
#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

class ScopedEnv {
public:
    using Value = std::optional<std::string>;
    ~ScopedEnv() {
        for (const auto& [name, value] : saved_) put(name, value);
    }

    // Sets |name| to |value|, or unsets it when |value| is std::nullopt.
    void set(const std::string& name, const Value& value) {
        const char* old = std::getenv(name.c_str());
        saved_.emplace(name, old ? Value(old) : std::nullopt);  // the first value is the one restored
        put(name, value);
    }

private:
    static void put(const std::string& name, const Value& value) {
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
    std::map<std::string, Value> saved_;
};
