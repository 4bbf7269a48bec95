// Tests of joining NPA answer packets when the device's lengths cannot be trusted.
#include <gtest/gtest.h>

#include <random>

#include "helpers/NpaAnswerScripts.h"
#include "protocol/NPAResp.h"

namespace {

using npa_script::Bytes;

void addPiece(NPAResp& builder, int sequence, const Bytes& bytes) {
    builder.addData(sequence, new Data(bytes.data(), static_cast<int>(bytes.size())));
}

Data rdcAnswer(int headerSize = 5) {
    Data answer;
    answer.setErrorCheckingByte(4);
    answer.setHeaderSize(headerSize);
    return answer;
}

}  // namespace

TEST(NpaRepack, PacketThatDoesNotMoveForwardEndsTheAnswer) {
    // With no header to skip, a length of 2 leaves the position where it was.
    NPAResp builder;
    const Bytes stuck = npa_script::packet(0x20, {});
    addPiece(builder, 0, npa_script::concat({stuck, stuck, stuck}));
    Data answer = rdcAnswer(0);

    ASSERT_EQ(builder.repackResponse(answer, 0xE0), 0);
    EXPECT_EQ(Bytes(answer.get(), answer.get() + answer.size()), stuck);
}

TEST(NpaRepack, AnswerEndsWhereTheLengthFieldCanNoLongerCoverIt) {
    NPAResp builder;
    Bytes first = npa_script::packet(0x20, Bytes(0xFFFF - 5, 0x11));
    addPiece(builder, 0, first);
    addPiece(builder, 1, npa_script::packet(0x00, {0x22, 0x33}));
    Data answer = rdcAnswer();

    ASSERT_EQ(builder.repackResponse(answer, 0xE0), 0);
    ASSERT_EQ(answer.size(), 0xFFFF);
    EXPECT_EQ(Bytes(answer.get(), answer.get() + answer.size()), first);
}

TEST(NpaRepack, RandomPacketsNeverBreakTheJoinedAnswer) {
    // Packets with random lengths, flags and bodies; the start and echo bytes are
    // usually right so that the walk gets past the first checks.
    std::mt19937 random(20240611);
    for (int round = 0; round < 3000; ++round) {
        NPAResp builder;
        size_t held = 0;
        int pieces = 1 + static_cast<int>(random() % 4);
        for (int sequence = 0; sequence < pieces; ++sequence) {
            Bytes bytes(random() % 24);
            for (auto& byte : bytes) {
                byte = static_cast<unsigned char>(random());
            }
            if (!bytes.empty() && random() % 8 != 0) {
                bytes[0] = 0xA5;
            }
            if (bytes.size() > 4 && random() % 8 != 0) {
                bytes[4] = 0xE0;
            }
            held += bytes.size();
            addPiece(builder, sequence, bytes);
        }
        Data answer = rdcAnswer(static_cast<int>(random() % 7));

        if (builder.repackResponse(answer, 0xE0) == 0) {
            ASSERT_GE(answer.size(), 3);
            ASSERT_LE(static_cast<size_t>(answer.size()), held);
            EXPECT_EQ(answer.get()[0], 0xA5);
            EXPECT_EQ((answer.get()[1] << 8) | answer.get()[2], answer.size() - 3);
        }
    }
}
