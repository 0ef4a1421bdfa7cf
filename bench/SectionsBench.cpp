// Many small sections: a key for each rule, a file for each key. Only the first slice of such a section holds anything,
// so the files come one after another, whatever the number of threads; the floor writes them so, too.
#include "support/Bench.h"
#include "support/Floor.h"
#include "support/Rules.h"

int main(int count, char** arguments) {
    const bench::Options options = bench::start(count, arguments);
    const std::size_t keys = bench::sized(options, 10000);
    bench::Manager manager;
    for (std::size_t number = 0; number < keys; ++number) {
        bench::hand(manager, "key" + std::to_string(number), {bench::plainRule(number, 1, 1)});
    }
    for (const unsigned int threads : {1U, 2U}) {
        manager.threadnum = static_cast<std::uint16_t>(threads);
        bench::FolderContent compiled;
        bench::FolderContent floor;
        bench::Row row{"sections", "10,000 keys of one rule", "floor",
                       threads,    bench::Bound::kAtMost,     bench::place() == "disk" ? 1.3 : 3.0};
        row.result = bench::compare(
            options,
            [&] {
                bench::emptyPolicyFolder();
                int status = 1;
                const bench::Time time = bench::timed([&] { status = manager.compileKernelPolicyMsg(); });
                bench::require(status == 0, "the compilation failed");
                compiled = bench::policyFolder();
                return time;
            },
            [&] {
                bench::emptyPolicyFolder();
                const bench::Time time = bench::timed([&] { bench::writeSmallFloor(keys); });
                floor = bench::policyFolder();
                return time;
            });
        bench::require(compiled == floor, "compilation and floor write different files");
        bench::print(options, row);
    }
    bench::emptyPolicyFolder();
    return 0;
}
