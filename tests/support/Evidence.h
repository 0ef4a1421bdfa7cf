// Keeps what a failed test leaves behind. Its folders are private to the process and gone with it.
#ifndef TARN_TESTS_EVIDENCE_H
#define TARN_TESTS_EVIDENCE_H

namespace testevidence {

// From now on each test that fails or crashes has a folder <suite.test> below $TARN_EVIDENCE_DIR (by default
// build/evidence) with the files of /var/log, a listing of /etc/tarn, and the command line; its path is printed. Called
// once, after gtest's own set-up.
void install();

}  // namespace testevidence

#endif
