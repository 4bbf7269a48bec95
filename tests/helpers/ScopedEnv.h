// ScopedEnv: sets or unsets environment variables for one test and restores them after.
#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

class ScopedEnv {
public:
    ScopedEnv() = default;
    ~ScopedEnv() {
        for (const auto& [name, value] : saved_) {
            if (value) {
                setenv(name.c_str(), value->c_str(), 1);
            } else {
                unsetenv(name.c_str());
            }
        }
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

    // Sets |name| to |value|, or unsets it when |value| is empty (std::nullopt).
    void set(const std::string& name, const std::optional<std::string>& value) {
        if (saved_.find(name) == saved_.end()) {
            const char* old = std::getenv(name.c_str());
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }

private:
    std::map<std::string, std::optional<std::string>> saved_;
};
