#include "libtarnmessage/MessageViews.h"

namespace tarnmessage {

bool ParamCursor::next(ParamView& param) {
    if (left_ == 0) {
        return false;
    }
    param = ParamView{};
    param.offset = bytes_.position();
    if (!bytes_.take(param.info)) {
        return false;
    }
    --left_;
    if (param.info.type == kernelmsg::kParamInteger) {
        return bytes_.take(param.integer);
    }
    return bytes_.takeBytes(param.info.length, param.text);
}

bool ExprCursor::next(ExprView& node) {
    if (left_ == 0) {
        return false;
    }
    node = ExprView{};
    node.offset = bytes_.position();
    if (!bytes_.take(node.record) || !bytes_.takeBytes(node.record.nameLength, node.variable)) {
        return false;
    }
    --left_;
    node.paramBytes = bytes_;
    ParamCursor params = node.params();
    for (ParamView param; params.next(param);) {
    }
    bytes_ = params.bytes();
    return true;
}

bool FunctionCursor::next(FunctionView& function) {
    if (left_ == 0) {
        return false;
    }
    function.offset = bytes_.position();
    kernelmsg::FuncNodeRecord record{};
    if (!bytes_.take(record) || !bytes_.takeBytes(record.nameLength, function.name)) {
        return false;
    }
    --left_;
    function.functionId = record.functionId;
    return true;
}

}  // namespace tarnmessage
