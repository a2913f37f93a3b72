#include "open_file_limit.h"
#include "open_item.h"
#include "process_info.h"
#include "wired_backend.h"

#include <sys/stat.h>

using namespace std::string_literals;

namespace {

class ItemFile : public open_item {
protected:
    // What examining an item file of this text answers.
    int examine(const std::string& text) {
        open_with(text);
        return examine_file();
    }
};

// --- settings ----------------------------------------------------------------------------------------------

struct flag_row {
    const char* name;
    const char* value;
    bool set;
};

void PrintTo(const flag_row& row, std::ostream* stream) {
    *stream << row.name;
}

class StayResident : public ItemFile, public testing::WithParamInterface<flag_row> {};

TEST_P(StayResident, IsAnyNumberAboveZero) {
    stay_resident = !GetParam().set;
    EXPECT_EQ(examine("stay resident="s + GetParam().value + "\n"), 0);
    EXPECT_EQ(stay_resident, GetParam().set);
}

INSTANTIATE_TEST_SUITE_P(
    ItemFile, StayResident,
    testing::Values(flag_row{"One", "1", true}, flag_row{"Zero", "0", false},
                    flag_row{"Negative", "-1", false}, flag_row{"Hexadecimal", "0x10", true},
                    flag_row{"HexadecimalOne", "0x1", true}, flag_row{"HexadecimalZero", "0x0", false},
                    flag_row{"Octal", "010", true}, flag_row{"NoOctalDigit", "08", false},
                    flag_row{"Word", "yes", false}, flag_row{"Empty", "", false},
                    flag_row{"LettersAfterTheDigits", "1st", true},
                    flag_row{"Beyond32Bits", "4294967296", true},
                    flag_row{"Beyond64Bits", "99999999999999999999", true},
                    flag_row{"NegativeBeyond64Bits", "-99999999999999999999", false}),
    [](const auto& instance) { return instance.param.name; });

class EnableDebugMessages : public ItemFile, public testing::WithParamInterface<flag_row> {};

TEST_P(EnableDebugMessages, IsADecimalWhoseLow32BitsAreAboveZero) {
    debug_messages = !GetParam().set;
    EXPECT_EQ(examine("enable debug messages="s + GetParam().value + "\n"), 0);
    EXPECT_EQ(debug_messages, GetParam().set);
}

INSTANTIATE_TEST_SUITE_P(ItemFile, EnableDebugMessages,
                         testing::Values(flag_row{"One", "1", true}, flag_row{"Five", "5", true},
                                         flag_row{"Zero", "0", false}, flag_row{"Negative", "-1", false},
                                         flag_row{"Hexadecimal", "0x10", false},
                                         flag_row{"LeadingZero", "010", true}, flag_row{"Word", "yes", false},
                                         flag_row{"Empty", "", false},
                                         flag_row{"Largest", "2147483647", true},
                                         flag_row{"NegativeInItsLowBits", "2147483648", false},
                                         flag_row{"ZeroInItsLowBits", "4294967296", false},
                                         flag_row{"OneInItsLowBits", "4294967297", true},
                                         flag_row{"NegativeWithOneInItsLowBits", "-4294967295", true},
                                         flag_row{"Beyond64Bits", "99999999999999999999", false},
                                         flag_row{"NegativeBeyond64Bits", "-99999999999999999999", false}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(ItemFile, MissingSettingsKeepTheirValues) {
    ASSERT_EQ(examine("driver=route_x\nstay resident=1\nenable debug messages=1\n"), 0);
    trace();
    ASSERT_EQ(examine("comment=nothing\n"), 0);
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_TRUE(stay_resident);
    EXPECT_TRUE(debug_messages);
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_x");
    EXPECT_EQ(trace(), "");
}

TEST_F(ItemFile, OtherNamesAreIgnored) {
    ASSERT_EQ(examine("Driver=route_x\nDRIVER=route_x\ndrivers=route_x\nStay Resident=1\nstayresident=1\n"
                      "Enable debug messages=1\nenable debug=1\n"),
              0);
    EXPECT_EQ(driver_name, "");
    EXPECT_FALSE(stay_resident);
    EXPECT_FALSE(debug_messages);
}

TEST_F(ItemFile, LastOfARepeatedSettingCounts) {
    ASSERT_EQ(examine("driver=route_x\nstay resident=1\ndriver=route_y\nstay resident=0\n"), 0);
    EXPECT_EQ(driver_name, "route_y");
    EXPECT_FALSE(stay_resident);
}

TEST_F(ItemFile, DriverIsTheWholeValue) {
    ASSERT_EQ(examine("driver=route_a=b c\n"), 0);
    EXPECT_EQ(driver_name, "route_a=b c");
    EXPECT_EQ(backend_path, VRDX_BACKEND_PREFIX "route_a=b c");
}

TEST_F(ItemFile, BlanksAroundNameAndValueAreDropped) {
    ASSERT_EQ(examine(" driver \t= \troute_x \nstay resident = 1\n"), 0);
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_TRUE(stay_resident);
}

// --- lines -------------------------------------------------------------------------------------------------

TEST_F(ItemFile, LinesWithoutNameOrEqualsSignAreSkipped) {
    ASSERT_EQ(examine("\n\n=route_x\n = \ndriver\n#driver\ndriver=route_y\n\n"), 0);
    EXPECT_EQ(driver_name, "route_y");
}

TEST_F(ItemFile, LineEndsMayBeCarriageReturnAndLineFeed) {
    ASSERT_EQ(examine("driver=route_x\r\n\r\nstay resident=1\r\n"), 0);
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_TRUE(stay_resident);
}

TEST_F(ItemFile, LastLineNeedsNoLineFeed) {
    ASSERT_EQ(examine("stay resident=1\ndriver=route_x"), 0);
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_TRUE(stay_resident);
}

TEST_F(ItemFile, EmptyFileNamesNoDriver) {
    EXPECT_EQ(examine(""), 0);
    EXPECT_EQ(trace(), "Nothing more to run\n");
    EXPECT_EQ(backend_path, "");
}

TEST_F(ItemFile, LongLineIsReadInPiecesOf1023Bytes) {
    ASSERT_EQ(examine(std::string(1023, 'x') + "driver=route_x\n"), 0);
    EXPECT_EQ(driver_name, "route_x") << "the second piece is a line of its own";
}

TEST_F(ItemFile, PieceOfALongLineEndsAfter1023BytesNotBefore) {
    ASSERT_EQ(examine(std::string(1022, 'x') + "driver=route_x\n"), 0);
    EXPECT_EQ(driver_name, "");
}

TEST_F(ItemFile, LongValueIsCutAtTheEndOfItsPiece) {
    const std::string name = "route_" + std::string(2000, 'x');
    ASSERT_EQ(examine("driver=" + name + "\n"), 0);
    EXPECT_EQ(driver_name, name.substr(0, 1023 - std::string("driver=").size()));
}

TEST_F(ItemFile, BinaryContentIsSurvived) {
    std::string noise;
    for (int i = 0; i < 100000; ++i)
        noise += static_cast<char>(i * 7919 >> 5);
    EXPECT_EQ(examine(noise + "\ndriver=route_x\n"), 0);
    EXPECT_EQ(driver_name, "route_x");
}

TEST_F(ItemFile, NulByteEndsItsLine) {
    EXPECT_EQ(examine("driver=route_x\0.sh\nstay resident=1\n"s), 0);
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_TRUE(stay_resident);
}

TEST_F(ItemFile, ModificationTimeIsRecordedInWholeSeconds) {
    open_with("driver=route_x\n");
    set_modification_time(path(), 1234567890);
    ASSERT_EQ(examine_file(), 0);
    EXPECT_EQ(item_file_mtime, 1234567890);
}

TEST_F(ItemFile, IsReadFromWhereItsDescriptorStands) {
    open_with("driver=route_x\ndriver=route_y\n");
    ASSERT_EQ(examine_file(), 0);
    write_file(path(), "driver=route_z\n");
    ASSERT_EQ(examine_file(), 0) << "it stands behind the end now";
    EXPECT_EQ(driver_name, "route_y");
}

// --- what cannot be read -----------------------------------------------------------------------------------

TEST_F(ItemFile, ThatIsADirectoryIsNoItem) {
    driver_name = "route_x";
    open_with("");
    metadata_v4_context_close_the_file(vrdx_meta);
    EXPECT_EQ(examine_file(), -1);
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(driver_name, "route_x");
}

TEST_F(ItemFile, ThatIsAFifoIsNoItem) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    vrdx_meta = metadata_v4_context_open(path(), metadata_path());
    ASSERT_NE(vrdx_meta, nullptr);
    EXPECT_EQ(examine_file(), -1);
    EXPECT_EQ(trace(), "");
}

TEST_F(ItemFile, WithoutADescriptorToSpareIsNotRead) {
    open_with("driver=route_x\n");
    const open_file_limit limit(0);
    EXPECT_EQ(examine_file(), -1);
    EXPECT_EQ(trace(), "");
    EXPECT_EQ(driver_name, "");
}

TEST_F(ItemFile, LeavesNoDescriptorOpen) {
    open_with("driver=route_x\n");
    const auto descriptors = descriptors_of(getpid());
    ASSERT_EQ(examine_file(), 0);
    EXPECT_EQ(descriptors_of(getpid()), descriptors);
}

TEST_F(ItemFile, ThatIsLostWhileItIsReadIsTold) {
    open_with("driver=route_x\n");
    // The stop that the new driver causes takes the item's descriptor with it.
    backend_stdin_fd = vrdx_meta->file_fd;
    EXPECT_EQ(examine_file(), 0);
    vrdx_meta->file_fd = -1;
    EXPECT_EQ(trace(), "Driver changed\nFailed to fstat()\n");
    EXPECT_EQ(driver_name, "route_x");
    EXPECT_EQ(item_file_mtime, 0);
}

TEST_F(ItemFile, WithoutDescriptorAborts) {
    open_with("");
    close(vrdx_meta->file_fd);
    vrdx_meta->file_fd = -1;
    EXPECT_DEATH(examine_file(), "^vrdx_routedriver: vrdx_routedriver:[0-9]+: int examine_file\\(\\): "
                                 "Assertion `vrdx_meta->file_fd >= 0' failed\\.\n$");
}

} // namespace
