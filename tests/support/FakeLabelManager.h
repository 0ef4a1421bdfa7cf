// Stands in for the label manager inside a test program: the program's own three functions come before those of the
// shared library. They answer as the test says and remember what they were asked.
#ifndef TARN_TESTS_FAKE_LABEL_MANAGER_H
#define TARN_TESTS_FAKE_LABEL_MANAGER_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

namespace fakelabels {

using Request = std::map<std::string, std::vector<std::string>>;
using Answer = std::map<std::string, std::map<std::string, std::vector<TARN_ID>>>;
using Oids = std::map<std::string, TARN_ID>;
using Names = std::vector<std::string>;

struct Fake {
    // Answers; one that is not set leaves its output as it is and returns 0.
    std::function<int(const Request&, Answer&)> labels;
    std::function<int(const Names&, Oids&)> devices;
    std::function<int(const Names&, Oids&)> modules;

    // What was asked, call by call, and what the outputs held then.
    std::vector<Request> labelRequests;
    std::vector<Answer> labelAnswersPassed;
    std::vector<const void*> labelRequestObjects;
    std::vector<Names> deviceRequests;
    std::vector<Oids> deviceOidsPassed;
    std::vector<Names> moduleRequests;
    std::vector<Oids> moduleOidsPassed;
    // "labels", "devices", "modules", in the order of the calls.
    std::vector<std::string> order;
};

// The one of this process. A test that wants a fresh one assigns Fake{}.
Fake& fake();

}  // namespace fakelabels

#endif
