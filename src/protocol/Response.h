// Response: gathers the pieces of a multi-packet answer by sequence number.
#pragma once

#include <list>
#include <map>
#include <memory>

#include "core/Data.h"

class Response {
public:
    Response();
    virtual ~Response();

    // Stores |piece| under |sequence| and takes ownership of it. A null or empty piece
    // is not stored (and is deleted). A piece stored again under the same number
    // replaces the old one, whose size deliberately stays counted in the total.
    virtual void addData(int sequence, Data* piece);
    // Joins the stored pieces into |answer|: 0 on success.
    virtual int repackResponse(Data& answer, unsigned int echoValue) = 0;

    // One more than the highest sequence number stored; 0 when empty.
    unsigned int getExpectedSequence() const { return expectedSequence_; }
    // Running total of the sizes of all pieces added.
    unsigned int getMaxSize() const { return maxSize_; }
    // Appends every stored sequence number, ascending.
    void getKeys(std::list<int>& keys) const;
    // The stored piece, or null.
    Data* getValue(int sequence) const;
    // Deletes every piece and resets both counters (so spelled on purpose).
    void crearResponse();

private:
    unsigned int expectedSequence_ = 0;
    unsigned int maxSize_ = 0;
    std::map<int, std::unique_ptr<Data>> pieces_;
};
