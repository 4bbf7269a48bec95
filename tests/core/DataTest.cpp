// Tests of the Data buffer's copy semantics.
#include <gtest/gtest.h>

#include "core/Data.h"
#include "helpers/TestUtil.h"

using cfftest::text;

TEST(Data, CopiesKeepBytesAndHeaderFieldsButNotTheErrorCodeAndEmptyAssignsChangeNothing) {
    Data source(std::string("\xA5\x00\x02\x10\xE0", 5));
    source.setErrorCode(13);
    source.setHeaderSize(5);
    source.setErrorCheckingByte(4);
    Data copied(source), assigned;
    assigned.setErrorCode(7);
    assigned = source;
    for (const Data* d : {&copied, &assigned}) {
        EXPECT_EQ(text(*d), text(source));
        EXPECT_NE(d->get(), source.get());
        EXPECT_EQ(d->getErrorCode(), 0);
        EXPECT_EQ(d->getHeaderSize(), 5);
        EXPECT_EQ(d->getErrorCheckingByte(), 4);
    }
    // Assigning nothing keeps the old content; an empty buffer has no bytes.
    EXPECT_EQ(Data().size(), 0);
    EXPECT_EQ(Data().get(), nullptr);
    Data d(std::string("abc"));
    d = d;
    const unsigned char one[] = {1};
    d.assign(one, 0);
    d.assign(nullptr, 4);
    EXPECT_EQ(text(d), "abc");
    d.assign(one, 1);
    EXPECT_EQ(text(d), "\x01");
}
