// cffquery: asks a printer attached by USB what the filter would report, without the spooler.
#include "QueryTool.h"

#include "connection/LibusbPlatform.h"
#include "connection/USBConnection.h"

int main(int argc, char* argv[]) {
    USBConnection::setSystemPlatformMaker([]() -> std::unique_ptr<UsbPlatform> {
        return std::make_unique<LibusbPlatform>();
    });
    LibusbPlatform platform;
    return QueryTool::run(argc, argv, platform);
}
