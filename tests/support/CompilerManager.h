// A manager whose tables hold the numbers of a model, with "/etc/tarn/.policydata" in place: ready to encode and
// compile.
#ifndef TARN_TESTS_COMPILER_MANAGER_H
#define TARN_TESTS_COMPILER_MANAGER_H

#include <string>

#include "support/ManagerAccess.h"
#include "support/Model.h"

// One megabyte with the cursor and the count that the encoders move, as a compiler thread keeps them.
struct OutputBuffer {
    static constexpr unsigned long kCapacity = 0x100000;

    // Starts with `remaining` free bytes at the end.
    explicit OutputBuffer(unsigned long remaining = kCapacity);
    OutputBuffer(const OutputBuffer&) = delete;
    OutputBuffer& operator=(const OutputBuffer&) = delete;

    // What was appended since the start.
    std::string appended() const;
    // The cursor stands where the count says.
    bool consistent() const { return cursor == storage.data() + used; }

    std::string storage;
    unsigned long start;
    unsigned long used;
    char* cursor;
};

class CompilerManager : public ManagerAccess {
public:
    explicit CompilerManager(const model::Numbers& numbers, unsigned int threads = 1);

    // makeSinglePolicy at the start of an empty buffer; what it appended comes back, and its status in `status`.
    std::string encode(const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object);

    unsigned int status = 0;
};

namespace samples {

TARN_ID id(std::uint64_t first, std::uint64_t second = 0, std::uint64_t third = 0);
// A class "file" (1: read 1, write 2), namespace "ns" with number 99 and functions "mod:f" 1 and "mod:g" 2.
model::Numbers numbers();
// A rule of that class and namespace without condition and actions, group "g", module "mod", one subject and object.
PolicyNode rule();
FuncParam integer(std::int64_t value);
FuncParam string(const std::string& text);
FuncParam wrongType(unsigned int type);
ExprNode constant(unsigned int value);
ExprNode variable(const std::string& name, unsigned int value);
ExprNode call(const std::string& function, const std::vector<FuncParam>& parameters = {});
ExprNode node(unsigned int type);
DoFuncNode action(const std::string& function, const std::vector<FuncParam>& parameters = {});
// A rule with operators, constant, variable, call and actions, integer and string parameters.
PolicyNode ruleWithEverything();
// A rule whose record has exactly this many bytes: a string parameter of an action fills it up. At least 128.
PolicyNode ruleOfSize(std::size_t bytes);

}  // namespace samples

#endif
