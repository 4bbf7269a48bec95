// Tests for the platform that USB connections built without one get from their program.
#include <gtest/gtest.h>

#include "connection/USBConnection.h"
#include "connection/USBScriptedPlatform.h"

namespace {

std::unique_ptr<UsbPlatform> scriptedSystem() {
    return std::make_unique<USBScriptedPlatform>(
        std::vector<ScriptedDevice>{scriptedPrinter("Acme Laser 500", "ABC123")});
}

}  // namespace

// A program that sets no platform (the filter) reaches no device and does not crash; one that
// sets a platform gets it for every connection made afterwards.
TEST(USBConnection, UsesTheProgramsSystemPlatformAndFindsNoDeviceWithoutOne) {
    const char* uri = "usb://Acme/Laser%20500?serial=ABC123";
    {
        USBConnection connection(uri);
        EXPECT_EQ(connection.doOpen(), -1);
        EXPECT_FALSE(connection.isOpen());
    }
    USBConnection::setSystemPlatformMaker(scriptedSystem);
    {
        USBConnection connection(uri);
        EXPECT_EQ(connection.doOpen(), 0);
        EXPECT_TRUE(connection.isOpen());
    }
    USBConnection::setSystemPlatformMaker(nullptr);
}
