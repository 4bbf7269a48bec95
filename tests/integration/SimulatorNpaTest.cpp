// Tests of the simulator's packet answers: trees, option text, packet cutting, request stream.
#include <gtest/gtest.h>

#include "NpaAnswerBuilder.h"
#include "NpaStreamReader.h"
#include "ProfileLoader.h"
#include "SimulatorDecoding.h"

namespace {

using simtest::at;
using simtest::fromHex;
using simtest::load;
using simtest::loadText;

const std::string kConfigurationRequest = fromHex("A5000750E021010000" "00");
const std::string kOptionRequest = fromHex("A50003500104");
const std::string kModeCommand = fromHex("A5001080A45BA45B10EFA45B11EE00FF13EC2E");

std::string supplyRequest(int language) {
    std::string request = fromHex("A5000850E0210100000108");
    request[8] = static_cast<char>(language);
    return request;
}

std::string answerTo(const DeviceProfile& profile, const std::string& request) {
    std::string answer;
    std::string error;
    EXPECT_EQ(0, NpaAnswerBuilder(profile).answer(NpaRequest::classify(request), answer, error)) << error;
    return answer;
}

// Checks the frame of a one-packet answer: start byte, length field, flags and echo byte.
void expectFrame(const std::string& answer, unsigned flags, unsigned echo) {
    ASSERT_GE(answer.size(), 5u);
    EXPECT_EQ(0xA5u, at(answer, 0));
    EXPECT_EQ(answer.size() - 3, at(answer, 1) * 256 + at(answer, 2));
    EXPECT_EQ(flags, at(answer, 3));
    EXPECT_EQ(echo, at(answer, 4));
}

TEST(SimulatorNpa, ConfigurationAnswerCarriesEveryUnitUnderItsDottedId) {
    DeviceProfile profile = load("color-finisher");
    std::string answer = answerTo(profile, kConfigurationRequest);
    expectFrame(answer, 0x00, 0xE0);
    simtest::TreeReader tree(answer);
    ASSERT_TRUE(tree.ok);

    struct Expected {
        const char* id;
        uint32_t number;
        const char* text;
    };
    const Expected expected[] = {
        {"1.1.1.1", 2009, nullptr},        {"1.2.1.1.5.1.1.1", 1, nullptr},  {"1.2.1.1.5.1.1.3", 0, "Tray 1"},
        {"1.2.1.4.5.1.1.1", 4, nullptr},   {"1.2.1.4.5.1.1.3", 0, "Tray 4 (High Capacity)"},
        {"1.2.1.5.5.1.1.1", 130, nullptr}, {"1.2.1.5.5.1.1.3", 0, "Envelope Feeder"},
        {"1.2.2.1.5.1.1.1", 1, nullptr},   {"1.2.2.1.5.2.1.3", 0, "Bin 1"},  {"1.2.2.2.1", 22, nullptr},
        {"1.2.2.2.7", 0, "Booklet Finisher Unit"}, {"1.2.2.2.5.2.1.1", 4, nullptr}, {"1.2.4.1", 1, nullptr},
    };
    for (const Expected& e : expected) {
        ASSERT_TRUE(tree.leaves.count(e.id)) << e.id;
        const simtest::Leaf& leaf = tree.leaves[e.id];
        if (e.text) {
            EXPECT_EQ(std::make_pair(2, std::string(e.text)), std::make_pair(leaf.type, leaf.text)) << e.id;
        } else {
            EXPECT_EQ(std::make_pair(1, e.number), std::make_pair(leaf.type, leaf.number)) << e.id;
        }
    }
    // The first output unit is the printer's own: no finisher leaves.
    EXPECT_FALSE(tree.leaves.count("1.2.2.1.1"));
    EXPECT_FALSE(tree.leaves.count("1.2.2.1.7"));
}

TEST(SimulatorNpa, DuplexLeafFollowsTheProfileState) {
    for (const auto& c : {std::make_pair("installed", 1), std::make_pair("absent", 0), std::make_pair("not-reported", -1)}) {
        simtest::TreeReader tree(answerTo(loadText(std::string("model: X\nduplex: ") + c.first + "\n"), kConfigurationRequest));
        ASSERT_TRUE(tree.ok);
        if (c.second < 0) {
            EXPECT_FALSE(tree.leaves.count("1.2.4.1"));
        } else {
            EXPECT_EQ(static_cast<uint32_t>(c.second), tree.leaves["1.2.4.1"].number);
        }
    }
}

TEST(SimulatorNpa, SupplyAnswerUsesTheRequestedLanguageAndRejectsOthers) {
    DeviceProfile profile = load("color-finisher");
    simtest::TreeReader german(answerTo(profile, supplyRequest(1)));
    ASSERT_TRUE(german.ok);
    EXPECT_EQ(2009u, german.leaves["1.1.1.1"].number);
    EXPECT_EQ("Toner Schwarz", german.leaves["1.2.8.1.1.3"].text);
    EXPECT_EQ("Fixiereinheit f\x81r Papier", german.leaves["1.2.8.9.1.3"].text);
    EXPECT_EQ(112u, german.leaves["1.2.8.10.1.1"].number);
    EXPECT_EQ(7u, german.leaves["1.2.8.10.1.7"].number);
    EXPECT_EQ(100u, german.leaves["1.2.8.10.1.15"].number);
    EXPECT_EQ(25u, german.leaves["1.2.8.10.1.16"].number);
    for (const char* ending : {".1.5", ".1.6", ".1.12", ".1.13", ".1.14"}) {
        EXPECT_TRUE(german.leaves.count(std::string("1.2.8.1") + ending)) << ending;
    }
    EXPECT_FALSE(german.leaves.count("1.2.8.11.1.1"));

    simtest::TreeReader english(answerTo(profile, supplyRequest(0)));
    EXPECT_EQ("Black Toner", english.leaves["1.2.8.1.1.3"].text);

    // Japanese is not among the profile's languages: one failure packet echoing byte 4.
    std::string refused = answerTo(profile, supplyRequest(9));
    EXPECT_EQ(fromHex("A5000280E0"), refused);
}

TEST(SimulatorNpa, NegativeLevelsTravelAsThirtyTwoBitValues) {
    DeviceProfile profile = loadText("model: X\nsupplies:\n  - {id: 1, type: 3, name: K, max: 100, level: -3}\n");
    simtest::TreeReader tree(answerTo(profile, supplyRequest(0)));
    ASSERT_TRUE(tree.ok);
    EXPECT_EQ(0xFFFFFFFDu, tree.leaves["1.2.8.1.1.16"].number);
}

TEST(SimulatorNpa, WiderFieldsAreDeclaredAndUsed) {
    DeviceProfile profile = loadText("model: X\ntrays: [{id: 2}]\ncontainer: {id_width: 2, count_width: 2, "
                                     "container_length_width: 4, leaf_length_width: 1}\n");
    std::string answer = answerTo(profile, kConfigurationRequest);
    EXPECT_EQ("P{ID:2,DT:1}C{NE:2,LD:4}L{LD:1}", answer.substr(12, 31));
    simtest::TreeReader tree(answer);
    ASSERT_TRUE(tree.ok);
    EXPECT_EQ(2u, tree.leaves["1.2.1.1.5.1.1.1"].number);
    EXPECT_EQ("Tray 2", tree.leaves["1.2.1.1.5.1.1.3"].text);
}

TEST(SimulatorNpa, SilentPrinterAnswersEmptyTreesAndAnEmptyOptionText) {
    DeviceProfile profile = load("silent");
    for (const std::string& request : {kConfigurationRequest, supplyRequest(0)}) {
        std::string answer = answerTo(profile, request);
        expectFrame(answer, 0x00, 0xE0);
        EXPECT_EQ(51u, answer.size());
        simtest::TreeReader tree(answer);
        ASSERT_TRUE(tree.ok);
        EXPECT_EQ(0, tree.rootCount);
    }
    EXPECT_EQ(fromHex("A50004000104" "00"), answerTo(profile, kOptionRequest));
}

TEST(SimulatorNpa, OptionTextCountsItsOwnBytes) {
    std::string answer = answerTo(load("color-finisher"), kOptionRequest);
    expectFrame(answer, 0x00, 0x01);
    std::string text = "FLASH:1; RAM:512;";
    EXPECT_EQ(text.size(), at(answer, 6));
    EXPECT_EQ(text, answer.substr(7));
    std::string mono = answerTo(load("basic-mono"), kOptionRequest);
    EXPECT_EQ("RAM:128;", mono.substr(7));
}

TEST(SimulatorNpa, PacketsJoinBackIntoTheAnswer) {
    std::string answer = answerTo(load("color-finisher"), supplyRequest(0));
    for (size_t size : {1u, 7u, 100u, 507u, 5000u}) {
        for (bool failed : {false, true}) {
            std::vector<std::string> packets = NpaAnswerBuilder::packetize(answer, size, failed);
            ASSERT_EQ((answer.size() - 5 + size - 1) / size, packets.size()) << size;
            std::string joined = answer.substr(0, 5);
            for (size_t i = 0; i < packets.size(); ++i) {
                const std::string& packet = packets[i];
                bool last = i + 1 == packets.size();
                unsigned flags = (last ? 0x00 : 0x20) | (failed ? 0x80 : 0x00);
                expectFrame(packet, flags, 0xE0);
                EXPECT_LE(packet.size(), size + 5);
                joined += packet.substr(5);
            }
            EXPECT_EQ(answer, joined) << size;
        }
    }
}

TEST(SimulatorNpa, StreamReaderFindsPacketsHoweverTheBytesArrive) {
    std::string stream = kModeCommand + kConfigurationRequest + fromHex("A50006400304202020") + kModeCommand + kOptionRequest;
    const NpaRequest::Kind expected[] = {NpaRequest::kModeCommand, NpaRequest::kConfiguration, NpaRequest::kLoopback,
                                         NpaRequest::kModeCommand, NpaRequest::kOptions};
    for (size_t chunk : {1u, 3u, 19u, 1000u}) {
        NpaStreamReader reader;
        std::vector<std::string> packets;
        std::string noisy = std::string("\x00\x17", 2) + stream;
        for (size_t pos = 0; pos < noisy.size(); pos += chunk) {
            for (const std::string& p : reader.add(noisy.data() + pos, std::min(chunk, noisy.size() - pos))) {
                packets.push_back(p);
            }
        }
        ASSERT_EQ(5u, packets.size()) << chunk;
        for (size_t i = 0; i < packets.size(); ++i) {
            EXPECT_EQ(expected[i], NpaRequest::classify(packets[i]).kind) << chunk << " packet " << i;
        }
        EXPECT_EQ(2u, reader.discarded());
        EXPECT_EQ(0u, reader.pending());
    }
    EXPECT_EQ(3, NpaRequest::classify(supplyRequest(3)).languageId);
    EXPECT_EQ(NpaRequest::kUnknown, NpaRequest::classify(fromHex("A50003507777")).kind);
    EXPECT_EQ(fromHex("A500028077"), answerTo(load("silent"), fromHex("A50003507777")));
}

}  // namespace
