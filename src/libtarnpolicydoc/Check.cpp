#include "libtarnpolicydoc/Check.h"

#include "libtarnpolicydoc/DeclarationCheck.h"
#include "libtarnpolicydoc/FileNames.h"
#include "libtarnpolicydoc/RuleCheck.h"

namespace policydoc {

namespace {

constexpr std::uint64_t kProgressStep = 4096;

std::string seriesName(const PolicyDocument& document, const RuleSeries& series) {
    return "key " + quoted(document.groups[series.group].key) + ", namespace " + quoted(series.nameSpace) + ", group " +
           quoted(series.messageGroup);
}

void reportClash(const PolicyDocument& document, const RuleSeries& first, const RuleSeries& second,
                 const Reporter& report) {
    report.mistake(Path(second.pointer), second.place.line,
                   {"file-name-clash",
                    seriesName(document, second) + " is compiled into files of the same names as " +
                        seriesName(document, first) + " (" + document.files[first.place.file].name + ":" +
                        std::to_string(first.place.line) + "), and the later ones replace the earlier ones",
                    "names whose joining with \"_\" and the number of the compiler thread stays unmistakable",
                    "rename one of the keys, namespaces or groups"});
}

// Message files are named key_slice_namespace_group_number.
void checkFileNames(const PolicyDocument& document, unsigned int threads, const std::vector<RuleSeries>& allSeries,
                    Diagnostics& diagnostics) {
    FileNameClaims claims(threads);
    for (std::size_t i = 0; i < allSeries.size(); ++i) {
        const RuleSeries& series = allSeries[i];
        const std::string& key = document.groups[series.group].key;
        const Reporter report(&diagnostics, document.files[series.place.file].name);
        const auto other = claims.claim(i, key, series.nameSpace, series.messageGroup);
        if (other) {
            reportClash(document, allSeries[*other], series, report);
        }
        const std::size_t length = longestFileName(key, series.nameSpace, series.messageGroup, threads);
        if (length > kMaxFileName) {
            report.mistake(
                Path(series.pointer), series.place.line,
                {"name-length",
                 seriesName(document, series) + " come to file names of up to " + std::to_string(length) + " bytes",
                 "at most " + std::to_string(kMaxFileName) + " bytes, with room for two numbers",
                 "shorten the key, the namespace or the group"});
        }
    }
}

void warnOfNoRules(const PolicyDocument& document, Diagnostics& diagnostics) {
    const Reporter report(&diagnostics, document.files.front().name);
    report.warning(Path(), 0,
                   {"no-rules", "the document has no rules: delivered, it would leave the kernel without any",
                    "at least one rule", "write rules under \"groups\", or name files with rules there"});
}

}  // namespace

std::uint64_t sizeOfFiles(const PolicyDocument& document) {
    std::uint64_t bytes = 0;
    for (const SourceFile& file : document.files) {
        bytes += file.size;
    }
    return bytes;
}

bool check(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics) {
    checkDeclarations(document, context, diagnostics);
    RuleCheck rules(document, context, diagnostics);
    std::uint64_t count = 0;
    const bool complete = forEachRule(document, true, diagnostics, [&](const LocatedRule& rule) {
        rules.check(rule);
        if (++count % kProgressStep == 0 && context.progress) {
            context.progress(count, rule.bytesRead);
        }
        return true;
    });
    checkFileNames(document, context.threads, rules.series(), diagnostics);
    if (complete && count == 0 && diagnostics.mistakes() == 0) {
        warnOfNoRules(document, diagnostics);
    }
    if (context.progress) {
        context.progress(count, sizeOfFiles(document));
    }
    return complete;
}

}  // namespace policydoc
