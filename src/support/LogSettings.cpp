// LogSettings: the process-wide switch and file location of the diagnostic log.
// Placeholder: logging is always off.
#include "support/LogSettings.h"

void LogSettings::initialize(bool, std::string, std::string) {}
LogSettings* LogSettings::instance() { return nullptr; }
void LogSettings::deleteInstatnce() {}
std::string LogSettings::getCUPSTmpDirPath() { return "/tmp/"; }
void LogSettings::setStartLogPath(std::string) {}
std::string LogSettings::getStartLogPath() { return "/tmp/startlog"; }
std::string LogSettings::getLogFilePath(std::string) { return ""; }
bool LogSettings::putLogFilePath(std::string, std::string) { return true; }
void LogSettings::initStartLog(std::fstream&) {}
void LogSettings::updateStartLogFile(std::fstream&) {}
std::string LogSettings::getOutputBuffer() { return ""; }
LogSettings::LogSettings(bool, std::string, std::string) {}
