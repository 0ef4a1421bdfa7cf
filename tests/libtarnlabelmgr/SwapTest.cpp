// The library must take its identifiers from whichever libtarnlabelmgr.so the loader finds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "libtarnlabelmgr/LabelTable.h"
#include "support/Files.h"
#include "support/Process.h"

namespace {

constexpr char kTable[] = R"({"format": "tarn-labels", "version": 1,
    "labels": {"subject_file": {"/usr/bin/a": [[1,2,3]]}, "object_file": {"/etc/b": [[4,5,6],[7,8,9]]}},
    "devices": {"/dev/sda": [11,12,13]}, "modules": {"ext4": [14,15,16]}})";

TEST(LabelManagerSwap, TheSubstituteAnswersFromItsTable) {
    testfiles::write(labeltable::kPath, kTable);
    EXPECT_EQ(testprocess::run({TARN_SWAP_PROGRAM}).out,
              "subject 1 2 3\nfile 4 5 6\nfile 7 8 9\n"
              "subject 1 2 3\nkmod 14 15 16\n"
              "subject 1 2 3\ncdrom 11 12 13\n");
}

TEST(LabelManagerSwap, AStatusOfTheSubstituteIsTheResult) {
    EXPECT_EQ(testprocess::run({TARN_SWAP_PROGRAM}).out, "status 201\n");
}

TEST(LabelManagerSwap, AnotherLibraryOfTheSameNameTakesItsPlaceWithoutARebuild) {
    testfiles::write(labeltable::kPath, kTable);
    EXPECT_EQ(testprocess::run({TARN_SWAP_PROGRAM}, {"LD_LIBRARY_PATH=" TARN_OTHER_FOLDER}).out,
              "subject 900000 12 10\nfile 900000 11 6\n"
              "subject 900000 12 10\nkmod 900000 2 4\n"
              "subject 900000 12 10\ncdrom 900000 1 8\n");
}

TEST(LabelManagerLibrary, ExportsItsThreeFunctionsAlone) {
    const testprocess::Outcome nm = testprocess::run({"nm", "-DC", "--defined-only", TARN_LABEL_MANAGER});
    ASSERT_EQ(nm.status, 0) << nm.err;
    std::vector<std::string> names;
    std::istringstream lines(nm.out);
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line.substr(19, line.find('(') - 19));  // behind the address and the type
    }
    EXPECT_THAT(names, testing::UnorderedElementsAre("policies_parse", "getDeviceOids", "getKernelModuleOids"));
}

TEST(LabelManagerLibrary, IsNamedByItsPlainSoname) {
    const testprocess::Outcome readelf = testprocess::run({"readelf", "-dW", TARN_LABEL_MANAGER});
    EXPECT_THAT(readelf.out, testing::HasSubstr("Library soname: [libtarnlabelmgr.so]"));
    const testprocess::Outcome library = testprocess::run({"readelf", "-dW", TARN_LIBRARY});
    EXPECT_THAT(library.out, testing::HasSubstr("Shared library: [libtarnlabelmgr.so]"));
}

}  // namespace
