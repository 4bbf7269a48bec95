// SNMPResp: joins the datagrams of an SNMP answer in sequence order.
#include "protocol/SNMPResp.h"

#include <cstring>
#include <exception>
#include <list>
#include <vector>

#include "support/Logger.h"

int SNMPResp::repackResponse(Data& answer, unsigned int /*echoValue*/) {
    Logger logger("SNMPResp", "repackResponse");
    try {
        std::list<int> keys;
        getKeys(keys);
        keys.sort();
        if (keys.size() != getExpectedSequence()) {
            return -1;
        }
        // The joined answer holds at most 16 bits' worth of bytes.
        size_t size = getMaxSize() & 0xFFFF;
        if (size == 0) {
            return -1;
        }
        std::vector<unsigned char> joined(size, 0);
        size_t end = 0;
        for (int key : keys) {
            Data* piece = getValue(key);
            if (piece == nullptr || piece->size() < 1 || piece->get() == nullptr) {
                continue;
            }
            size_t take = static_cast<size_t>(piece->size());
            if (take > size - end) {
                take = size - end;
            }
            std::memcpy(joined.data() + end, piece->get(), take);
            end += take;
        }
        answer.assign(joined.data(), static_cast<int>(end));
        crearResponse();
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}
