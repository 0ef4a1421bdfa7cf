// What tarn-policy can do: one verb per file, all of them in one table.
#ifndef TARN_POLICY_VERB_H
#define TARN_POLICY_VERB_H

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ExitCodes.h"
#include "Report.h"

class Verb {
public:
    Verb() = default;
    Verb(const Verb&) = delete;
    Verb& operator=(const Verb&) = delete;
    virtual ~Verb() = default;

    // Declares options and arguments; they are bound to members of the verb.
    virtual void configure(CLI::App& app) = 0;
    // Does it. Failures are thrown.
    virtual ExitCode run(Report& report) = 0;

    // The code that a failure ends with, and the word for a code. Verbs that only look at sets have their own
    // (ReadStatus.h).
    virtual ExitCode failed(ExitCode code) const { return code; }
    virtual const char* statusName(ExitCode code) const { return exitCodeName(code); }

    // Said after any failure, behind the advice of the failure itself. Nothing for most verbs.
    virtual std::string wayBack() const { return ""; }
};

struct VerbEntry {
    const char* parent;  // "var" for "var set"; empty for a verb of its own
    const char* name;
    const char* summary;
    std::unique_ptr<Verb> (*make)();
};

// In the order of --help: those that need no privilege first.
const std::vector<VerbEntry>& verbTable();

std::unique_ptr<Verb> makeCheck();
std::unique_ptr<Verb> makeInspect();
std::unique_ptr<Verb> makeVerify();
std::unique_ptr<Verb> makeQuery();
std::unique_ptr<Verb> makeStat();
std::unique_ptr<Verb> makeDiff();
std::unique_ptr<Verb> makeDigest();
std::unique_ptr<Verb> makeApply();
std::unique_ptr<Verb> makeSection();
std::unique_ptr<Verb> makeSendInit();
std::unique_ptr<Verb> makeRestore();
std::unique_ptr<Verb> makeCompile();
std::unique_ptr<Verb> makeSend();
std::unique_ptr<Verb> makeVarList();
std::unique_ptr<Verb> makeVarSet();
std::unique_ptr<Verb> makeVarClear();

#endif
