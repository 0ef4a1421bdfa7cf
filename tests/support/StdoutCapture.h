// Catches what is written to a descriptor (standard output by default), by the C library, by streams and raw.
#ifndef TARN_TESTS_STDOUT_CAPTURE_H
#define TARN_TESTS_STDOUT_CAPTURE_H

#include <string>

class StdoutCapture {
public:
    explicit StdoutCapture(int fd = 1);
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Ends the capture and gives the text.
    std::string finish();

private:
    int target_;
    int saved_;
    int file_;
};

#endif
