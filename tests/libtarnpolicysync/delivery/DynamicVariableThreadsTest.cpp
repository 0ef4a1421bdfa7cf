// Variables switched from several threads at once. Worth most under the thread sanitizer.
#include <thread>

#include "DeliverySet.h"

namespace {

using Variables = ManagerAccess::DynamicVariables;

class DynamicVariableThreads : public DeliverySet {
protected:
    static void run(const std::function<void(int)>& work) {
        std::vector<std::thread> threads;
        for (int number = 0; number < 8; ++number) {
            threads.emplace_back(work, number);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
};

TEST_F(DynamicVariableThreads, EveryValueReachesTableAndKernel) {
    for (int number = 0; number < 8; ++number) {
        for (int variable = 0; variable < 20; ++variable) {
            testfiles::write(paths::kernelParameter("ns" + std::to_string(number), "v" + std::to_string(variable)), "");
        }
    }
    run([&](int number) {
        for (int variable = 0; variable < 20; ++variable) {
            EXPECT_EQ(manager_.modifyDynamicVariable("ns" + std::to_string(number), "v" + std::to_string(variable),
                                                     static_cast<unsigned int>(variable), false),
                      0);
        }
    });
    EXPECT_EQ(manager_.dynamicVarMap.size(), 160U);
    EXPECT_EQ(kernel_.messages().size(), 160U);
    EXPECT_EQ((manager_.dynamicVarMap[{"ns3", "v19"}]), 19U);
}

TEST_F(DynamicVariableThreads, ReplayAndChangesDoNotBlockEachOther) {
    for (const std::string name : {"a", "b", "c", "d"}) {
        addVariable("net", name, 1);
    }
    run([&](int number) {
        for (int round = 0; round < 20; ++round) {
            if (number % 2 == 0) {
                EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
            } else {
                EXPECT_EQ(manager_.modifyDynamicVariable("net", "a", 1, number == 1), 0);
            }
        }
    });
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:a:1\nnet:b:1\nnet:c:1\nnet:d:1\n");
    EXPECT_TRUE(testlog::lines().empty());
}

}  // namespace
