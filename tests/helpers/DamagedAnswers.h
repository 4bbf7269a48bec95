// DamagedAnswers: a good answer cut short at every length and corrupted at random, for the
// robustness loops that every parser must survive (the suite also runs under AddressSanitizer).
#pragma once

#include <random>

namespace cfftest {

// Calls feed(bytes, true) with every proper prefix of |answer|, then feed(bytes, false) with
// |rounds| copies in which one to |flips| bytes are replaced, half of them by a small value
// (0-2) that passes for a plausible length, count or id.
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
