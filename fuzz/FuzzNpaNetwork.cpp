// Fuzz target: NPA answer packets over the network framing (datagrams with sequence numbers), repacked and then parsed.
#include <cstddef>
#include <cstdint>

#include "FuzzCommon.h"
#include "protocol/NPABiDiProtocol.h"

// Input: selector byte (which request), then the reads.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_common::runNpaRequest<NPABiDiProtocol>(data, size);
}
