#include "RuleStore.h"

#include <algorithm>
#include <set>
#include <utility>

#include "libtarnmessage/MessageReader.h"
#include "libtarnmessage/MessageText.h"

namespace sim {

namespace {

using tarnmessage::PolicyRecordView;

class Lines : public tarnmessage::MessageVisitor {
public:
    explicit Lines(const tarnmessage::FunctionTable& functions) : functions_(functions) {}
    void onPolicy(const PolicyRecordView& record) override { lines.push_back(recordLine(record, functions_)); }
    std::vector<std::string> lines;

private:
    const tarnmessage::FunctionTable& functions_;
};

class Variables : public tarnmessage::MessageVisitor {
public:
    void onPolicy(const PolicyRecordView& record) override {
        tarnmessage::ExprCursor nodes = record.condition();
        for (tarnmessage::ExprView node; nodes.next(node);) {
            if (node.record.type == kernelmsg::kExprVariable) {
                names.emplace(node.variable);
            }
        }
    }
    std::set<std::string> names;
};

void readAll(const std::vector<std::string>& messages, tarnmessage::MessageVisitor& visitor) {
    for (const std::string& message : messages) {
        // They were sound when they came.
        static_cast<void>(tarnmessage::parseMessage(message, {}, visitor));
    }
}

}  // namespace

void RuleStore::Set::clear() {
    messages.clear();
    records = 0;
}

void RuleStore::add(std::string_view message, std::uint32_t records) {
    open_.messages.emplace_back(message);
    open_.records += records;
}

void RuleStore::commit(const tarnmessage::FunctionTable& functions) {
    inForce_ = std::exchange(open_, {});
    functions_ = functions;
}

std::string RuleStore::messages() const {
    std::string bytes;
    for (const std::string& message : inForce_.messages) {
        bytes += message;
    }
    return bytes;
}

std::string RuleStore::text() const {
    Lines visitor(functions_);
    readAll(inForce_.messages, visitor);
    std::sort(visitor.lines.begin(), visitor.lines.end());
    std::string text;
    for (const std::string& line : visitor.lines) {
        text += line;
        text += '\n';
    }
    return text;
}

std::vector<std::string> RuleStore::variables() const {
    Variables visitor;
    readAll(inForce_.messages, visitor);
    return {visitor.names.begin(), visitor.names.end()};
}

}  // namespace sim
