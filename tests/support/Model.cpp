#include "support/Model.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace model {

namespace {

constexpr std::uint32_t kMagic = 0x5A5AA5A5;
constexpr std::uint32_t kEnd = 0x1234FFFF;
constexpr std::size_t kRecordsPerFile = 10000;

Bytes identifier(const TARN_ID& id) {
    Bytes bytes;
    for (const std::uint64_t word : id.uiWord) {
        append64(bytes, word);
    }
    return bytes;
}

// The sub-expression that ends just before `end`, in prefix order; `end` moves to its start.
std::vector<ExprNode> takeExpression(const std::vector<ExprNode>& postfix, std::size_t& end) {
    const ExprNode& top = postfix.at(--end);
    std::vector<ExprNode> result{top};
    if (top.uiExprType == 1) {
        const std::vector<ExprNode> operand = takeExpression(postfix, end);
        result.insert(result.end(), operand.begin(), operand.end());
    } else if (isBinary(top.uiExprType)) {
        const std::vector<ExprNode> right = takeExpression(postfix, end);
        const std::vector<ExprNode> left = takeExpression(postfix, end);
        result.insert(result.end(), left.begin(), left.end());
        result.insert(result.end(), right.begin(), right.end());
    }
    return result;
}

Conversion::Outcome check(const std::vector<ExprNode>& postfix) {
    int operands = 0;
    for (const ExprNode& node : postfix) {
        if (node.uiExprType == 1) {
            if (operands < 1) {
                return Conversion::Outcome::kNotLacksOperand;
            }
        } else if (isBinary(node.uiExprType)) {
            if (operands < 2) {
                return Conversion::Outcome::kBinaryLacksOperands;
            }
            --operands;
        } else {
            ++operands;
        }
    }
    return Conversion::Outcome::kConverted;
}

void appendParameters(std::vector<Piece>& result, const std::vector<FuncParam>& parameters, Piece::Place place) {
    for (const FuncParam& parameter : parameters) {
        if (parameter.uiParamType == 2) {
            result.push_back({words({2, 0}), "expr_para_info", place});
            Bytes data;
            append64(data, static_cast<std::uint64_t>(parameter.iData));
            result.push_back({data, "funcparam.iData", place});
        } else if (parameter.uiParamType == 3) {
            const auto length = static_cast<std::uint32_t>(parameter.strData.size());
            result.push_back({words({3, length}), "expr_para_info", place});
            result.push_back({parameter.strData, "funcparam.strData", place});
        } else {
            throw std::invalid_argument("a parameter that can't be encoded");
        }
    }
}

void appendCondition(std::vector<Piece>& result, const Numbers& numbers, const PolicyNode& rule) {
    for (const ExprNode& node : toPrefix(rule.vecExpr).prefix) {
        const bool variable = node.uiExprType == 12;
        const Bytes name = variable ? rule.strNamespace + ":" + node.strVarName : Bytes();
        const std::uint32_t value = variable || node.uiExprType == 11 ? node.uiValue : 0;
        const std::uint32_t function =
            node.uiExprType == 4 ? numbers.functions.at({rule.strNamespace, rule.strModuleName, node.strFuncName}) : 0;
        const auto count = static_cast<std::uint32_t>(node.vecParam.size());
        result.push_back({words({node.uiExprType, value, function, count, static_cast<std::uint32_t>(name.size())}),
                          "expr", Piece::Place::kCondition});
        if (variable) {
            result.push_back({name, "dynamic name", Piece::Place::kCondition});
        }
        appendParameters(result, node.vecParam, Piece::Place::kCondition);
    }
}

void appendActions(std::vector<Piece>& result, const Numbers& numbers, const PolicyNode& rule) {
    for (const DoFuncNode& action : rule.vecDoFunc) {
        const std::uint32_t function =
            numbers.functions.at({rule.strNamespace, rule.strModuleName, action.strFuncName});
        const auto count = static_cast<std::uint32_t>(action.vecParam.size());
        result.push_back({words({4, 0, function, count, 0}), "expr_node", Piece::Place::kAction});
        appendParameters(result, action.vecParam, Piece::Place::kAction);
    }
}

Bytes policyNode(const Numbers& numbers, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object) {
    const PermissionClass& permissionClass = numbers.classes.at(rule.sPermClass);
    Bytes bytes = words({object.uiWord[0] == 0xFFFFFFFFFFFFFFFFU ? 2U : 1U, rule.uiAttrB});
    bytes += identifier(subject) + identifier(object);
    bytes += words({rule.uiAttrA, permissionClass.value, permissionClass.perms.at(rule.sPerm)});
    bytes += words({rule.uiExt[0], numbers.name(rule.strNamespace), rule.uiExt[2], rule.uiExt[3], rule.uiExt[4]});
    bytes +=
        words({static_cast<std::uint32_t>(rule.vecExpr.size()), static_cast<std::uint32_t>(rule.vecDoFunc.size())});
    return bytes;
}

std::uint32_t word(const Bytes& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t byte = 4; byte-- > 0;) {
        value = value << 8U | static_cast<unsigned char>(bytes.at(offset + byte));
    }
    return value;
}

// Where a condition node or an action that begins at `offset` ends.
std::size_t callEnd(const Bytes& bytes, std::size_t offset) {
    const std::uint32_t parameters = word(bytes, offset + 12);
    std::size_t end = offset + 20 + word(bytes, offset + 16);
    for (std::uint32_t parameter = 0; parameter < parameters; ++parameter) {
        end += 8 + (word(bytes, end) == 2 ? 8 : word(bytes, end + 4));
    }
    return end;
}

std::size_t recordEnd(const Bytes& bytes, std::size_t offset) {
    if (word(bytes, offset) != kMagic) {
        throw std::invalid_argument("no magic number at " + std::to_string(offset));
    }
    const std::size_t calls = word(bytes, offset + 4 + 88) + std::size_t{word(bytes, offset + 4 + 92)};
    std::size_t end = offset + 100;
    for (std::size_t call = 0; call < calls; ++call) {
        end = callEnd(bytes, end);
    }
    return end;
}

}  // namespace

std::vector<Bytes> recordsOf(const Bytes& policyMessage) {
    const std::uint32_t count = word(policyMessage, 12);
    if (policyMessage.substr(0, 20) != header(static_cast<std::uint32_t>(policyMessage.size()), 96, count, 3)) {
        throw std::invalid_argument("wrong header");
    }
    std::vector<Bytes> result;
    std::size_t offset = 20;
    for (std::uint32_t record = 0; record < count; ++record) {
        const std::size_t end = recordEnd(policyMessage, offset);
        result.push_back(policyMessage.substr(offset, end - offset));
        offset = end;
    }
    if (offset + 4 != policyMessage.size() || word(policyMessage, offset) != kEnd) {
        throw std::invalid_argument("no end number at " + std::to_string(offset));
    }
    return result;
}

std::vector<Bytes> recordsOf(const std::map<std::string, Bytes>& files) {
    std::vector<Bytes> result;
    for (const auto& [name, content] : files) {
        for (Bytes& bytes : recordsOf(content)) {
            result.push_back(std::move(bytes));
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::uint32_t Numbers::name(const std::string& nameSpace) const {
    const auto pinned = names.find(nameSpace);
    return pinned == names.end() ? crc(nameSpace) : pinned->second;
}

std::string Numbers::classDefinitions() const {
    std::ostringstream text;
    const char* separator = "{";
    for (const auto& [className, permissionClass] : classes) {
        text << separator << "\"" << className << "\": {\"value\": " << permissionClass.value << ", \"perms\": {";
        const char* comma = "";
        for (const auto& [perm, value] : permissionClass.perms) {
            text << comma << "\"" << perm << "\": " << value;
            comma = ", ";
        }
        text << "}}";
        separator = ",\n";
    }
    text << (classes.empty() ? "{}\n" : "}\n");
    return text.str();
}

void append32(Bytes& bytes, std::uint64_t value) {
    for (unsigned int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<char>((value >> shift) & 0xFFU));
    }
}

void append64(Bytes& bytes, std::uint64_t value) {
    append32(bytes, value & 0xFFFFFFFFU);
    append32(bytes, value >> 32U);
}

Bytes words(const std::vector<std::uint32_t>& values) {
    Bytes bytes;
    for (const std::uint32_t value : values) {
        append32(bytes, value);
    }
    return bytes;
}

Bytes fromHex(const std::string& text) {
    Bytes bytes;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line.substr(0, line.find('#')));
        for (std::string field; fields >> field;) {
            bytes.push_back(static_cast<char>(std::stoi(field, nullptr, 16)));
        }
    }
    return bytes;
}

std::uint32_t crc(const std::string& text) {
    std::uint32_t remainder = 0xFFFFFFFFU;
    for (const char character : text) {
        remainder ^= static_cast<unsigned char>(character);
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder & 1U) != 0 ? (remainder >> 1U) ^ 0xEDB88320U : remainder >> 1U;
        }
    }
    return ~remainder;
}

bool isBinary(std::uint32_t code) {
    return code == 2 || code == 3 || (code >= 5 && code <= 10);
}

Conversion toPrefix(const std::vector<ExprNode>& postfix) {
    Conversion result{check(postfix), {}};
    if (result.outcome == Conversion::Outcome::kConverted) {
        // Whatever is left over follows, the last one first.
        for (std::size_t end = postfix.size(); end > 0;) {
            const std::vector<ExprNode> expression = takeExpression(postfix, end);
            result.prefix.insert(result.prefix.end(), expression.begin(), expression.end());
        }
    }
    return result;
}

std::vector<Piece> pieces(const Numbers& numbers, const PolicyNode& rule, const TARN_ID& subject,
                          const TARN_ID& object) {
    std::vector<Piece> result{
        {words({kMagic}), "magic_number", Piece::Place::kHead},
        {policyNode(numbers, rule, subject, object), "policy_node", Piece::Place::kHead},
    };
    appendCondition(result, numbers, rule);
    appendActions(result, numbers, rule);
    return result;
}

Bytes record(const Numbers& numbers, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object) {
    Bytes bytes;
    for (const Piece& piece : pieces(numbers, rule, subject, object)) {
        bytes += piece.bytes;
    }
    return bytes;
}

std::vector<Bytes> records(const Numbers& numbers, const PolicyNode& rule) {
    std::vector<Bytes> result;
    for (const TARN_ID& subject : rule.vecSubjectId) {
        for (const TARN_ID& object : rule.vecObjectId) {
            result.push_back(record(numbers, rule, subject, object));
        }
    }
    return result;
}

Bytes header(std::uint32_t length, std::uint32_t recordSize, std::uint32_t recordCount, std::uint32_t type) {
    return words({1, length, recordSize, recordCount, type});
}

Bytes beginMessage() {
    return header(20, 0, 0, 1);
}
Bytes endMessage() {
    return header(20, 0, 0, 2);
}

Bytes policyMessage(const std::vector<Bytes>& records) {
    Bytes body;
    for (const Bytes& record : records) {
        body += record;
    }
    append32(body, kEnd);
    return header(static_cast<std::uint32_t>(20 + body.size()), 96, static_cast<std::uint32_t>(records.size()), 3) +
           body;
}

Bytes namespaceMessage(const Numbers& numbers, const Namespaces& namespaces) {
    Bytes body;
    std::uint32_t blocks = 0;
    for (const auto& [name, entries] : namespaces) {
        if (entries.empty()) {
            continue;
        }
        ++blocks;
        body += words({kMagic, numbers.name(name), static_cast<std::uint32_t>(name.size()),
                       static_cast<std::uint32_t>(entries.size()), 0, 0, 0});
        body += name;
        std::uint32_t number = 0;
        for (const std::string& entry : entries) {
            body += words({++number, static_cast<std::uint32_t>(entry.size())}) + entry;
        }
    }
    append32(body, kEnd);
    return header(static_cast<std::uint32_t>(20 + body.size()), 24, blocks, 4) + body;
}

std::vector<std::vector<PolicyNode>> slices(const std::vector<PolicyNode>& rules, std::size_t count) {
    // Dealing one rule to each slice in turn gives the sizes; the rules then go in order.
    std::vector<std::size_t> sizes(count, 0);
    for (std::size_t rule = 0; rule < rules.size(); ++rule) {
        ++sizes[rule % count];
    }
    std::vector<std::vector<PolicyNode>> result(count);
    std::size_t next = 0;
    for (std::size_t slice = 0; slice < count; ++slice) {
        while (result[slice].size() < sizes[slice]) {
            result[slice].push_back(rules[next++]);
        }
    }
    return result;
}

Files sliceFiles(const Numbers& numbers, const std::string& prefix, const std::vector<PolicyNode>& rules) {
    std::map<std::pair<std::string, std::string>, std::vector<Bytes>> groups;  // group and namespace to records
    for (const PolicyNode& rule : rules) {
        std::vector<Bytes>& group = groups[{rule.strGroup, rule.strNamespace}];
        for (Bytes& bytes : records(numbers, rule)) {
            group.push_back(std::move(bytes));
        }
    }
    Files files;
    for (const auto& [key, group] : groups) {
        for (std::size_t first = 0; first < group.size(); first += kRecordsPerFile) {
            const std::size_t last = std::min(first + kRecordsPerFile, group.size());
            const std::vector<Bytes> part(group.begin() + static_cast<std::ptrdiff_t>(first),
                                          group.begin() + static_cast<std::ptrdiff_t>(last));
            const std::string name =
                prefix + "_" + key.second + "_" + key.first + "_" + std::to_string(first / kRecordsPerFile);
            files[name] = policyMessage(part);
        }
    }
    return files;
}

Files policyFiles(const Numbers& numbers, const Groups& groups, std::size_t threads) {
    Files files;
    for (const auto& [section, group] : groups) {
        const std::vector<std::vector<PolicyNode>> parts = slices(group.vecPolicy, threads);
        for (std::size_t slice = 0; slice < parts.size(); ++slice) {
            for (auto& [name, bytes] : sliceFiles(numbers, section + "_" + std::to_string(slice), parts[slice])) {
                files[name] = bytes;
            }
        }
    }
    return files;
}

std::vector<Bytes> allRecords(const Numbers& numbers, const Groups& groups) {
    std::vector<Bytes> result;
    for (const auto& [section, group] : groups) {
        for (const PolicyNode& rule : group.vecPolicy) {
            for (Bytes& bytes : records(numbers, rule)) {
                result.push_back(std::move(bytes));
            }
        }
    }
    std::sort(result.begin(), result.end());
    return result;
}

}  // namespace model
