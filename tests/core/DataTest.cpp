// Tests of the Data buffer's copy semantics.
#include <gtest/gtest.h>

#include <cstring>

#include "core/Data.h"

TEST(Data, CopyKeepsBytesAndHeaderFieldsButResetsTheErrorCode) {
    const unsigned char bytes[] = {0xA5, 0x00, 0x02, 0x10, 0xE0};
    Data source(bytes, 5);
    source.setErrorCode(13);
    source.setHeaderSize(5);
    source.setErrorCheckingByte(4);

    Data copied(source);
    Data assigned;
    assigned.setErrorCode(7);
    assigned = source;

    for (const Data* d : {&copied, &assigned}) {
        ASSERT_EQ(d->size(), 5);
        EXPECT_EQ(0, std::memcmp(d->get(), bytes, 5));
        EXPECT_NE(d->get(), source.get());
        EXPECT_EQ(d->getErrorCode(), 0);
        EXPECT_EQ(d->getHeaderSize(), 5);
        EXPECT_EQ(d->getErrorCheckingByte(), 4);
    }
}

TEST(Data, AssignOfNothingKeepsTheOldContentAndEmptyHasNoBytes) {
    Data empty;
    EXPECT_EQ(empty.size(), 0);
    EXPECT_EQ(empty.get(), nullptr);
    Data d(std::string("abc"));
    d = d;
    const unsigned char other[] = {1};
    d.assign(other, 0);
    ASSERT_EQ(d.size(), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(d.get()), 3), "abc");
    d.assign(nullptr, 4);
    EXPECT_EQ(d.size(), 3);
    d.assign(other, 1);
    ASSERT_EQ(d.size(), 1);
    EXPECT_EQ(d.get()[0], 1);
}
