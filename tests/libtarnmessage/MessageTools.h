// What the tests of the reader share: building messages word by word, and reading them.
#ifndef TARN_TESTS_MESSAGE_TOOLS_H
#define TARN_TESTS_MESSAGE_TOOLS_H

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "libtarnmessage/MessageReader.h"
#include "libtarnmessage/MessageText.h"
#include "support/PlainMessage.h"

namespace messagetools {

inline std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + offset, sizeof(word));
    return word;
}

using golden::withWord;

// Sets the header's length to the bytes there are, so that a test of something else is not stopped by it.
inline std::string withTrueLength(const std::string& bytes) {
    return withWord(bytes, 4, static_cast<std::uint32_t>(bytes.size()));
}

// What the golden messages call: net and ns with two functions each, fs with one.
class Announced : public tarnmessage::MessageVisitor {
public:
    Announced() {
        for (const char* name : {"namespace", "namespace-two"}) {
            read(golden::message(name));
        }
        // The same two functions for the namespace ns.
        std::string ns = golden::message("namespace");
        read(withWord(ns, 24, kNumberOfNs));
    }
    void onNamespace(const tarnmessage::NamespaceView& block) override { functions.add(block); }

    static constexpr std::uint32_t kNumberOfNs = 1940616272;  // CRC-32 of "ns"
    tarnmessage::FunctionTable functions;

private:
    void read(const std::string& bytes) { static_cast<void>(tarnmessage::parseMessage(bytes, {}, *this)); }
};

inline std::optional<tarnmessage::Finding> readMessage(const std::string& bytes, tarnmessage::MessageVisitor& visitor) {
    static const Announced announced;
    tarnmessage::ReadContext context;
    context.functions = &announced.functions;
    return tarnmessage::parseMessage(bytes, context, visitor);
}

inline std::optional<tarnmessage::Finding> readMessage(const std::string& bytes) {
    tarnmessage::MessageVisitor nobody;
    return readMessage(bytes, nobody);
}

}  // namespace messagetools

#endif
