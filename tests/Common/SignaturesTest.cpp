// The free functions as hosts compile against them: result and argument types are part of the interface.
#include <gtest/gtest.h>

#include <type_traits>

#include "Common/Common.h"

namespace {

using String = std::string;
using Strings = std::vector<std::string>;

template <typename Expected, typename Actual>
constexpr bool kSame = std::is_same_v<Expected*, Actual>;

}  // namespace

TEST(CommonSignatures, areThoseThatHostsCompileAgainst) {
    static_assert(kSame<void(const char*, int, unsigned int, const char*, ...), decltype(&writeLog)>);
    static_assert(kSame<void(unsigned int), decltype(&setLogLevel)>);
    static_assert(kSame<void(), decltype(&enableDebugLog)>);
    static_assert(kSame<String(), decltype(&GetSystime)>);
    static_assert(kSame<std::int64_t(), decltype(&getTimeStamp)>);
    static_assert(kSame<void(const void*, unsigned long), decltype(&printBytes)>);

    static_assert(kSame<bool(const char*), decltype(&pathExist)>);
    static_assert(kSame<bool(const String&), decltype(&HasPathEscape)>);
    static_assert(kSame<bool(const String&), decltype(&IsSafeAbsolutePath)>);
    static_assert(kSame<bool(const String&), decltype(&SafeDirectoryExists)>);
    static_assert(kSame<bool(const String&, const String&, String&), decltype(&SafeMountPrefixConcat)>);
    static_assert(kSame<int(const String&, const String&), decltype(&validate_mount_point)>);

    static_assert(kSame<int(const char*), decltype(&removeDirectory)>);
    static_assert(kSame<int(const char*), decltype(&createDirectory)>);
    static_assert(kSame<int(const char*, const char*), decltype(&renameFile)>);
    static_assert(kSame<int(const char*, const char*), decltype(&renameDir)>);
    static_assert(kSame<int(const char*, const char*), decltype(&copyFile)>);
    static_assert(kSame<int(const char*, const char*), decltype(&copyDirectory)>);

    static_assert(kSame<int(String, const char*, unsigned long, unsigned int), decltype(&writeFileData)>);
    static_assert(kSame<int(const String&, Strings&, bool), decltype(&readFileToVecImpl)>);
    static_assert(kSame<int(String, Strings&), decltype(&readFileToVec)>);
    static_assert(kSame<Strings(const String&, const char&), decltype(&Split)>);

    static_assert(kSame<std::uint32_t(const unsigned char*, unsigned long), decltype(&crc32)>);
    static_assert(kSame<unsigned long(const char*), decltype(&string_length)>);
    static_assert(kSame<std::uint32_t(const char*), decltype(&stringToId)>);
    static_assert(
        kSame<bool(char*&, unsigned long&, unsigned long, const void*, unsigned long), decltype(&safeMemcpy)>);
}
