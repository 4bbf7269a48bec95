// Logger: the scoped trace object that every operation of note creates on entry.
// Placeholder: logs nothing yet.
#include "support/Logger.h"

#include "support/LogSettings.h"

int Logger::indentation_ = 0;

Logger::Logger(std::string module, std::string function)
    : module_(std::move(module)), function_(std::move(function)) {}

Logger::~Logger() = default;

void Logger::Log(const char* /*format*/, ...) {}

void Logger::LogData(const unsigned char* /*bytes*/, int /*length*/) {}

void Logger::LogReturn() { returned_ = true; }

void Logger::writeLog(std::string /*text*/, int /*kind*/) {}

std::string Logger::formatLog(LogSettings* /*settings*/, std::string text, int /*kind*/) {
    return text + "\n";
}
