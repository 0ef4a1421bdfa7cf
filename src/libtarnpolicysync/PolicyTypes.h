// The records of a rule set, as the host hands them over: plain values that own their strings and vectors. Copies are
// deep. Names and order of the fields are part of the interface between host and library.
#ifndef TARN_POLICY_TYPES_H
#define TARN_POLICY_TYPES_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// The identifier of a labelled object, as the label manager hands it out: three words, 24 bytes, written raw into the
// policy records in host order. All ones in the first word marks a special identifier.
struct TARN_ID {
    std::uint64_t uiWord[3];
};
static_assert(sizeof(TARN_ID) == 24, "identifiers travel to the kernel as 24 raw bytes");

// One argument of a function call.
struct FuncParam {
    std::int64_t iData = 0;        // the value, when uiParamType is 2
    std::string strData;           // the text, when uiParamType is 3
    unsigned int uiParamType = 0;  // 2 integer, 3 string; anything else is refused by the encoder
};

// One node of a rule's condition. Conditions are stored in postfix order.
struct ExprNode {
    ExprNode() = default;
    ExprNode(unsigned int type, std::string name, unsigned int value)
        : uiExprType(type), strFuncName(std::move(name)), uiValue(value) {}

    unsigned int uiExprType = 0;      // 1 NOT; 2, 3, 5 to 10 binary operators; 4 call; 11 constant; 12 dynamic variable
    std::string strFuncName;          // function, for type 4
    unsigned int uiValue = 0;         // constant, for types 11 and 12
    std::string strVarName;           // dynamic variable without its namespace, for type 12
    std::vector<FuncParam> vecParam;  // arguments, for type 4 (written for every type, normally empty)
};

// One action of a rule: a function and its arguments.
struct DoFuncNode {
    std::string strFuncName;
    std::vector<FuncParam> vecParam;
};

// One rule. It covers every pair of one of its subjects and one of its objects.
struct PolicyNode {
    unsigned int uiAttrA = 0;  // written at offset 56 of the policy node record
    unsigned int uiAttrB = 0;  // written at offset 4 of the policy node record
    bool bSubjectFlag = true;  // true: vecSubjectId is given; false: it is made from vecSubjectName
    std::vector<TARN_ID> vecSubjectId;
    std::vector<std::string> vecSubjectName;
    bool bObjectFlag = true;  // true: vecObjectId is given; false: it is made from vecObjectName
    std::vector<TARN_ID> vecObjectId;
    std::vector<std::string> vecObjectName;
    std::string sPermClass;                   // permission class, as in the class definitions
    std::string sPerm;                        // permission within the class
    std::vector<ExprNode> vecExpr;            // condition in postfix order; empty for none
    std::vector<DoFuncNode> vecDoFunc;        // actions, in order
    unsigned int uiExt[5] = {0, 0, 0, 0, 0};  // offsets 68 to 87; the second word gives way to the namespace's number
    std::string strNamespace;
    std::string strGroup;       // rules of equal namespace and group share messages and files
    std::string strModuleName;  // kernel module of the functions named in condition and actions
};

// One group of rules: what the host hands over under one key.
struct PolicyDb {
    // Sets the three words to 0 and destroys all rules; the vector keeps its storage.
    void clear() {
        uiFirst = 0;
        uiSecond = 0;
        uiThird = 0;
        vecPolicy.clear();
    }

    unsigned int uiFirst = 0;  // the three words are the host's own: stored, never interpreted
    unsigned int uiSecond = 0;
    unsigned int uiThird = 0;
    std::vector<PolicyNode> vecPolicy;
};

#endif
