// Response: gathers the pieces of a multi-packet answer by sequence number.
#include "protocol/Response.h"

#include "support/Logger.h"

Response::Response() = default;

Response::~Response() { crearResponse(); }

void Response::addData(int sequence, Data* piece) {
    Logger logger("Response", "addData");
    logger.Log("sequenceID =%d", sequence);
    std::unique_ptr<Data> owned(piece);
    if (!owned || owned->size() <= 0 || owned->get() == nullptr) {
        return;
    }
    unsigned int size = static_cast<unsigned int>(owned->size());
    pieces_[sequence] = std::move(owned);
    maxSize_ += size;
    if (sequence >= 0 && static_cast<unsigned int>(sequence) >= expectedSequence_) {
        expectedSequence_ = static_cast<unsigned int>(sequence) + 1;
    }
}

void Response::getKeys(std::list<int>& keys) const {
    for (const auto& entry : pieces_) {
        keys.push_back(entry.first);
    }
}

Data* Response::getValue(int sequence) const {
    auto it = pieces_.find(sequence);
    return it == pieces_.end() ? nullptr : it->second.get();
}

void Response::crearResponse() {
    pieces_.clear();
    expectedSequence_ = 0;
    maxSize_ = 0;
}
