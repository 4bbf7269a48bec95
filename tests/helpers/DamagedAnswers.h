// DamagedAnswers: a good answer cut at every length and corrupted at random, for the robustness loops.
#pragma once

#include <random>

namespace cfftest {

// Calls feed(prefix, true) for every proper prefix of |answer|, then feed(copy, false) for |rounds| copies
// with one to |flips| bytes replaced, half of them by 0-2, plausible as a length, count or id.
template <class Bytes, class Feed>
void feedDamaged(const Bytes& answer, int rounds, int flips, Feed feed) {
    for (size_t size = 0; size < answer.size(); ++size) feed(Bytes(answer.begin(), answer.begin() + size), true);
    std::mt19937 random(static_cast<unsigned>(answer.size()));
    for (int round = 0; round < rounds; ++round) {
        Bytes copy = answer;
        for (unsigned n = 1 + random() % flips; n > 0; --n) {
            copy[random() % copy.size()] = static_cast<typename Bytes::value_type>(random() % 2 ? random() % 3 : random());
        }
        feed(copy, false);
    }
}

}  // namespace cfftest
