// The zip reader over a data array: stored and deflated entries, sizes that
// lie, containers that are cut short or damaged, and inflate bombs.

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ZipTestSupport.h"
#include "runtime/templates/ZipDataReader.h"

namespace orva::templates::container {
namespace {

using ziptest::MakeZip;
using ziptest::ZipEntry;

std::shared_ptr<ManagedDataArray> ArrayOf(const std::vector<uint8_t>& bytes) {
    return std::make_shared<ManagedDataArray>(bytes.data(), bytes.size());
}

std::string TextOf(const std::shared_ptr<ManagedDataArray>& array) {
    return {reinterpret_cast<const char*>(array->data()), array->size()};
}

// Where the central directory begins, as the end record says.
uint32_t DirectoryOf(const std::vector<uint8_t>& zip) {
    const size_t end = zip.size() - 22;
    return zip[end + 16] | (zip[end + 17] << 8);
}

const std::string kXml =
    "<?xml version=\"1.0\"?><RegisterDescription>" + std::string(3000, 'x') + "</RegisterDescription>";

TEST(ManagedDataArray, KeepsAZeroBehindItsEnd) {
    const char text[] = {'a', 'b', 'c'};
    ManagedDataArray array(text, sizeof text);
    EXPECT_EQ(array.size(), 3u);
    EXPECT_EQ(array.data()[3], 0);
    array.Truncate(2);
    EXPECT_EQ(array.size(), 2u);
    EXPECT_STREQ(reinterpret_cast<const char*>(array.data()), "ab");
    array.Truncate(10);
    EXPECT_EQ(array.size(), 2u) << "never grows";
    EXPECT_EQ(ManagedDataArray(0).data()[0], 0);
}

TEST(ZipDataReader, ReadsStoredAndDeflatedEntries) {
    ZipDataReader zip(ArrayOf(MakeZip({{"cam.xml", kXml, 8}, {"readme.txt", "stored as it is", 0}})));
    ASSERT_TRUE(zip.IsValid());
    EXPECT_EQ(zip.EntryCount(), 2u);
    ZipStatus status = ZipStatus::DataError;
    auto first = zip.GetEntryData(0, status);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(status, ZipStatus::Ok);
    EXPECT_EQ(TextOf(first), kXml);
    auto second = zip.GetEntryData(1, status);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(TextOf(second), "stored as it is");
    EXPECT_EQ(zip.GetEntryData(2, status), nullptr);
    EXPECT_EQ(status, ZipStatus::NoSuchEntry);
}

TEST(ZipDataReader, UnderstatedSizeGrowsByDoubling) {
    for (int64_t stated : {0, 1, 100}) {
        ZipDataReader zip(ArrayOf(MakeZip({{"cam.xml", kXml, 8, stated}})));
        ZipStatus status = ZipStatus::DataError;
        auto entry = zip.GetEntryData(0, status);
        ASSERT_NE(entry, nullptr) << "stated " << stated;
        EXPECT_EQ(status, ZipStatus::Ok);
        EXPECT_EQ(TextOf(entry), kXml) << "stated " << stated;
    }
}

TEST(ZipDataReader, InflateBombIsRefused) {
    // 8 MiB of zeros pack into a few KiB; the reader is told 1 MiB at most.
    const std::string zeros(8u << 20, '\0');
    for (int64_t stated : {int64_t{0}, int64_t{8} << 20}) {
        ZipDataReader zip(ArrayOf(MakeZip({{"bomb.xml", zeros, 8, stated}})), 1u << 20);
        ASSERT_TRUE(zip.IsValid());
        ZipStatus status = ZipStatus::Ok;
        EXPECT_EQ(zip.GetEntryData(0, status), nullptr) << "stated " << stated;
        EXPECT_EQ(status, ZipStatus::TooLarge);
    }
    // The same container within the bound.
    ZipDataReader roomy(ArrayOf(MakeZip({{"bomb.xml", zeros, 8, 0}})), 16u << 20);
    ZipStatus status = ZipStatus::DataError;
    auto entry = roomy.GetEntryData(0, status);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->size(), zeros.size());
}

TEST(ZipDataReader, WhatIsNoZipHasNoEntries) {
    EXPECT_FALSE(ZipDataReader(ArrayOf({})).IsValid());
    EXPECT_FALSE(ZipDataReader(ArrayOf({'<', '?', 'x', 'm', 'l'})).IsValid());
    EXPECT_FALSE(ZipDataReader(nullptr).IsValid());

    auto zip = MakeZip({{"cam.xml", kXml, 8}});
    auto noEnd = zip;
    noEnd.resize(noEnd.size() - 22); // the end record is gone
    EXPECT_FALSE(ZipDataReader(ArrayOf(noEnd)).IsValid());

    auto directoryOutside = zip;
    const size_t end = directoryOutside.size() - 22;
    directoryOutside[end + 16] = 0xF0; // directory offset far behind the block
    directoryOutside[end + 19] = 0x7F;
    EXPECT_FALSE(ZipDataReader(ArrayOf(directoryOutside)).IsValid());

    auto onlyHeader = zip;
    onlyHeader.resize(4);
    EXPECT_FALSE(ZipDataReader(ArrayOf(onlyHeader)).IsValid());
}

TEST(ZipDataReader, EntryThatRunsPastTheBlockIsRefused) {
    auto zip = MakeZip({{"cam.xml", kXml, 8}});
    // The central record (at the stated offset) claims more compressed bytes
    // than the block holds.
    const uint32_t directory = DirectoryOf(zip);
    zip[directory + 20] = 0xFF;
    zip[directory + 21] = 0xFF;
    zip[directory + 22] = 0x0F;
    ZipDataReader reader(ArrayOf(zip));
    ASSERT_TRUE(reader.IsValid());
    ZipStatus status = ZipStatus::Ok;
    EXPECT_EQ(reader.GetEntryData(0, status), nullptr);
    EXPECT_EQ(status, ZipStatus::Truncated);

    auto badLocal = MakeZip({{"cam.xml", kXml, 8}});
    const uint32_t badDirectory = DirectoryOf(badLocal);
    badLocal[badDirectory + 42] = 0x00; // local header offset beyond the block
    badLocal[badDirectory + 45] = 0x40;
    ZipDataReader badReader(ArrayOf(badLocal));
    EXPECT_EQ(badReader.GetEntryData(0, status), nullptr);
    EXPECT_EQ(status, ZipStatus::Truncated);

    // A stored entry whose records state more bytes than it stores.
    ZipDataReader overstated(ArrayOf(MakeZip({{"cam.xml", kXml, 0, int64_t{1} << 20}})));
    EXPECT_EQ(overstated.GetEntryData(0, status), nullptr);
    EXPECT_EQ(status, ZipStatus::Truncated);
}

TEST(ZipDataReader, DamagedOrCutDeflateDataIsADataError) {
    auto zip = MakeZip({{"cam.xml", kXml, 8}});
    // Cut the deflate stream short by declaring fewer compressed bytes.
    const uint32_t directory = DirectoryOf(zip);
    zip[directory + 20] = 10;
    zip[directory + 21] = 0;
    zip[directory + 22] = 0;
    zip[directory + 23] = 0;
    ZipDataReader cut(ArrayOf(zip));
    ZipStatus status = ZipStatus::Ok;
    cut.GetEntryData(0, status);
    EXPECT_EQ(status, ZipStatus::DataError);

    auto damaged = MakeZip({{"cam.xml", kXml, 8}});
    const size_t data = 30 + std::strlen("cam.xml");
    damaged[data] = 0xFF; // an invalid block type
    ZipDataReader broken(ArrayOf(damaged));
    broken.GetEntryData(0, status);
    EXPECT_EQ(status, ZipStatus::DataError);
}

TEST(ZipDataReader, OtherMethodsAreRefused) {
    auto zip = MakeZip({{"cam.xml", kXml, 8}});
    zip[8] = 12; // bzip2, in the local header
    ZipDataReader reader(ArrayOf(zip));
    ZipStatus status = ZipStatus::Ok;
    EXPECT_EQ(reader.GetEntryData(0, status), nullptr);
    EXPECT_EQ(status, ZipStatus::UnsupportedMethod);
}

} // namespace
} // namespace orva::templates::container
