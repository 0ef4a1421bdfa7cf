#include <cstddef>
#include <utility>

#include "Common/Log.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The operands of one node, by index. A node and what hangs below it is one sub-expression.
struct Operands {
    std::size_t left = kNone;
    std::size_t right = kNone;
};

std::size_t popTop(std::vector<std::size_t>& work) {
    const std::size_t top = work.back();
    work.pop_back();
    return top;
}

// Takes the operands of one node from the work stack; false, after one message, when there are too few.
bool takeOperands(unsigned int code, std::vector<std::size_t>& work, Operands& operands) {
    if (!isOperator(code)) {
        return true;
    }
    if (code == kernelmsg::kExprNot) {
        if (work.empty()) {
            TARN_LOG(kLogError, "####ERROR: in func %s, stack empty for EXPR_TYPE_NOT", "postToPreFix");
            return false;
        }
        operands.left = popTop(work);
        return true;
    }
    if (work.size() < 2) {
        TARN_LOG(kLogError, "####ERROR: in func %s, stack has less than 2 elements for binary operator",
                 "postToPreFix");
        return false;
    }
    operands.right = popTop(work);
    operands.left = popTop(work);
    return true;
}

// Moves one sub-expression out in prefix order: the operator, its left operand, its right operand.
void emit(std::size_t root, const std::vector<Operands>& tree, std::vector<ExprNode>& nodes,
          std::vector<ExprNode>& prefix) {
    std::vector<std::size_t> open{root};
    while (!open.empty()) {
        const std::size_t index = popTop(open);
        prefix.push_back(std::move(nodes[index]));
        if (tree[index].right != kNone) {
            open.push_back(tree[index].right);
        }
        if (tree[index].left != kNone) {
            open.push_back(tree[index].left);
        }
    }
}

}  // namespace

int postToPreFix(std::vector<ExprNode> postfix, std::vector<ExprNode>& prefix) {
    prefix.clear();
    std::vector<Operands> tree(postfix.size());
    std::vector<std::size_t> work;  // roots of the sub-expressions that no operator has taken yet
    for (std::size_t index = 0; index < postfix.size(); ++index) {
        if (!takeOperands(postfix[index].uiExprType, work, tree[index])) {
            return 1;
        }
        work.push_back(index);
    }
    // A well-formed condition leaves one root; surplus operands are kept, the topmost first.
    prefix.reserve(postfix.size());
    while (!work.empty()) {
        emit(popTop(work), tree, postfix, prefix);
    }
    return 0;
}
