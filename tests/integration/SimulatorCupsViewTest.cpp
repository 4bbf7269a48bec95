// Tests of what CUPS's own programs see of the simulator: the supply table its socket backend
// reads, the device listing for lpinfo, and the state message of a queue whose profile is missing.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "MibView.h"
#include "ProfileLoader.h"
#include "helpers/TestUtil.h"

namespace {

namespace fs = std::filesystem;

// The supply table as CUPS's socket backend reads it: "levels units", where each level is
// computed as that backend does (the percent unit makes the capacity 100, a filled receptacle
// reports the room left, a level without a usable capacity reads -1).
std::string socketBackendView(const DeviceProfile& profile) {
    MibView view(profile);
    auto integer = [&view](int column, size_t row) {
        MibView::Oid oid;
        MibView::parseOid(".1.3.6.1.2.1.43.11.1.1." + std::to_string(column) + ".1." + std::to_string(row), oid);
        const ProfileSnmpValue* value = view.find(oid);
        return value != nullptr ? value->number : -999;
    };
    std::string levels, units;
    for (size_t row = 1; row <= profile.supplies.size(); ++row) {
        long unit = integer(7, row), maxCapacity = unit == 19 ? 100 : integer(8, row), level = integer(9, row);
        long percent = maxCapacity > 0 && level >= 0 ? 100 * level / maxCapacity : -1;
        if (percent >= 0 && integer(4, row) == 4) percent = 100 - percent;
        levels += (row > 1 ? "," : "") + std::to_string(percent);
        units += (row > 1 ? "," : "") + std::to_string(unit);
    }
    return levels + " " + units;
}

// The levels CUPS reads over SNMP equal those the filter reports from the same printer (the
// README and the cupsd test show them); capacities are counted in percent or impressions.
TEST(SimulatorSupplies, PrinterMibGivesCupsTheLevelsTheFilterReports) {
    const std::pair<std::string, const char*> cases[] = {
        {"basic-mono", "40,75 19,7"},
        {"color-finisher", "80,55,30,5,75,50,25,100,60,75 19,19,19,19,7,7,7,7,7,19"},
        // A percent supply given another capacity is served in percent; the MIB's special
        // levels and capacities are passed on as they are.
        {"model: X\nsupplies:\n"
         "  - {id: 16, type: 4, name: Drum, max: 20000, level: 15000, mib_type: 9, mib_unit: 19}\n"
         "  - {id: 1, type: 3, name: Toner, max: 100, level: -3, mib_type: 3}\n"
         "  - {id: 48, type: 5, name: Fuser, max: -2, level: 7000, mib_type: 15}\n",
         "75,-1,-1 19,19,7"},
    };
    for (const auto& [source, expected] : cases) {
        SCOPED_TRACE(source);
        DeviceProfile profile;
        std::string error;
        ASSERT_EQ(0, source.find('\n') != std::string::npos
                         ? ProfileLoader::loadText(source, "inline", profile, error)
                         : ProfileLoader::loadFile(std::string(CFFSIM_PROFILE_DIR) + "/" + source + ".yaml", profile, error))
            << error;
        EXPECT_EQ(expected, socketBackendView(profile));
    }
}

// A scratch directory laid out as an installation: PREFIX/bin/cffsim, its profiles, and CUPS's
// backend directory holding a link named simusb to it.
struct InstalledSimulator {
    fs::path prefix;
    InstalledSimulator() {
        char pattern[] = "/tmp/cffsim-prefix-XXXXXX";
        prefix = mkdtemp(pattern);
        fs::create_directories(prefix / "bin");
        fs::create_directories(prefix / "share/commandfilefilter/profiles");
        fs::create_directories(prefix / "lib/cups/backend");
        fs::copy_file(CFFSIM_BINARY, prefix / "bin/cffsim");
        for (const char* name : {"silent", "basic-mono"}) {
            fs::copy_file(std::string(CFFSIM_PROFILE_DIR) + "/" + name + ".yaml",
                          prefix / "share/commandfilefilter/profiles" / (std::string(name) + ".yaml"));
        }
        fs::create_symlink("../../../bin/cffsim", prefix / "lib/cups/backend/simusb");
    }
    ~InstalledSimulator() { fs::remove_all(prefix); }
    fs::path backend() const { return prefix / "lib/cups/backend/simusb"; }
};

// Runs |program| as cupsd runs a backend, with |uri| as DEVICE_URI (none when empty); the exit
// status and what it printed on standard output (or standard error, with |errors|).
int runBackend(const std::string& program, const std::string& uri, const std::string& args, std::string& output,
               bool errors = false) {
    std::string env = "env -u CFFSIM_PROFILE -u DEVICE_URI" + (uri.empty() ? "" : " DEVICE_URI='" + uri + "'");
    std::string redirect = errors ? " 2>&1 >/dev/null" : " 2>/dev/null";
    int status = cfftest::runCommand(env + " " + program + " " + args + redirect, output);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<std::string> listedUris(const std::string& listing) {
    std::vector<std::string> uris;
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind, uri;
        words >> kind >> uri;
        EXPECT_EQ("direct", kind) << line;
        uris.push_back(uri);
    }
    return uris;
}

// Device discovery lists every shipped profile with a URI a queue can use as it stands: the
// installed profiles beside an installed program, the source tree's for the build tree's.
TEST(SimulatorBackend, DiscoveryListsOneUsableUriPerShippedProfile) {
    InstalledSimulator installed;
    std::string listing;
    ASSERT_EQ(0, runBackend(installed.backend(), "", "", listing));
    const std::string profiles = fs::canonical(installed.prefix / "share/commandfilefilter/profiles");
    EXPECT_EQ((std::vector<std::string>{"simusb://cffsim/basic-mono?profile=" + profiles + "/basic-mono.yaml",
                                        "simusb://cffsim/silent?profile=" + profiles + "/silent.yaml"}),
              listedUris(listing));
    EXPECT_NE(std::string::npos, listing.find("\"MFG:Simulated;MDL:SimLaser M100;")) << listing;

    // The first listed URI serves a job (an empty one here).
    std::string ignored;
    EXPECT_EQ(0, runBackend(installed.backend(), listedUris(listing).at(0), "1 user title 1 '' /dev/null", ignored));

    fs::path buildLink = installed.prefix / "simusb";
    fs::create_symlink(CFFSIM_BINARY, buildLink);
    std::string fromBuild;
    ASSERT_EQ(0, runBackend(buildLink, "", "", fromBuild));
    std::vector<std::string> uris = listedUris(fromBuild);
    ASSERT_EQ(3u, uris.size()) << fromBuild;
    EXPECT_EQ("simusb://cffsim/color-finisher?profile=" + fs::canonical(CFFSIM_PROFILE_DIR).string() +
                  "/color-finisher.yaml",
              uris[1]);
}

// A job on a queue whose profile cannot be used fails with one error line, which cupsd makes
// the queue's state message: the real cause, not advice for a URI that was right.
TEST(SimulatorBackend, AProfileThatCannotBeUsedIsTheOneErrorOfTheJob) {
    InstalledSimulator installed;
    std::ofstream(installed.prefix / "broken.yaml") << "model: X\nduplex: maybe\n";
    const std::pair<std::string, std::string> cases[] = {
        {"simusb://cffsim/gone?profile=/nonexistent/gone.yaml",
         "ERROR: cffsim: /nonexistent/gone.yaml: cannot be opened: No such file or directory\n"},
        {"simusb://cffsim/broken?profile=" + (installed.prefix / "broken.yaml").string(),
         "ERROR: cffsim: " + (installed.prefix / "broken.yaml").string() +
             ":2: duplex must be installed, absent or not-reported, not \"maybe\"\n"},
        {"simusb://cffsim/basic-mono",
         "ERROR: cffsim: no profile: give profile=PATH in the device URI or set CFFSIM_PROFILE\n"},
    };
    for (const auto& [uri, expected] : cases) {
        std::string errors;
        EXPECT_EQ(1, runBackend(installed.backend(), uri, "1 user title 1 '' /dev/null", errors, true)) << uri;
        EXPECT_EQ(expected, errors) << uri;
    }
}

}  // namespace
