// Tests of joining NPA answer packets when the device's lengths cannot be trusted.
#include <gtest/gtest.h>

#include <random>

#include "helpers/NpaAnswerScripts.h"
#include "protocol/NPAResp.h"

using namespace npa_script;

namespace {

// Joins |pieces| (sequence numbers 0, 1, ...) into an answer with echo offset 4.
int repack(const std::vector<Bytes>& pieces, int headerSize, Data& answer) {
    NPAResp builder;
    for (size_t i = 0; i < pieces.size(); ++i) {
        builder.addData(static_cast<int>(i), new Data(pieces[i].data(), static_cast<int>(pieces[i].size())));
    }
    answer.setErrorCheckingByte(4);
    answer.setHeaderSize(headerSize);
    return builder.repackResponse(answer, kRdcEcho);
}

}  // namespace

TEST(NpaRepack, StuckOrOverlongAnswersEndAtTheLastPacketThatFits) {
    // With no header to skip, a length of 2 leaves the position where it was.
    const Bytes stuck = packet(0x20, {});
    // A second packet would take the length field past 0xFFFF.
    const Bytes full = packet(0x20, Bytes(0xFFFF - 5, 0x11));
    const std::tuple<std::vector<Bytes>, int, Bytes> cases[] = {
        {{concat({stuck, stuck, stuck})}, 0, stuck},
        {{full, packet(0x00, {0x22, 0x33})}, 5, full},
    };
    for (const auto& [pieces, headerSize, expected] : cases) {
        Data answer;
        ASSERT_EQ(repack(pieces, headerSize, answer), 0);
        EXPECT_EQ(bytesOf(answer), expected);
    }
}

TEST(NpaRepack, RandomPacketsNeverBreakTheJoinedAnswer) {
    // Random lengths, flags and bodies; start and echo bytes are usually right so that the
    // walk gets past the first checks.
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; ++round) {
        std::vector<Bytes> pieces(1 + random() % 4);
        size_t held = 0;
        for (Bytes& bytes : pieces) {
            bytes.resize(random() % 24);
            for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
            if (!bytes.empty() && random() % 8 != 0) bytes[0] = 0xA5;
            if (bytes.size() > 4 && random() % 8 != 0) bytes[4] = kRdcEcho;
            held += bytes.size();
        }
        Data answer;
        if (repack(pieces, static_cast<int>(random() % 7), answer) == 0) {
            ASSERT_GE(answer.size(), 3);
            ASSERT_LE(static_cast<size_t>(answer.size()), held);
            EXPECT_EQ(answer.get()[0], 0xA5);
            EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
        }
    }
}
