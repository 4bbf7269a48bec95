// Fuzz target: NPA answer packets over the packet framing, repacked and then parsed.
#include <cstddef>
#include <cstdint>

#include "FuzzCommon.h"
#include "protocol/NPAProtocol.h"

// Input: selector byte (which request), then the reads.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz_common::runNpaRequest<NPAProtocol>(data, size);
}
