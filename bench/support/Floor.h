// The floor under every compilation: what the files alone cost when their content is there for the copying.
#ifndef TARN_BENCH_FLOOR_H
#define TARN_BENCH_FLOOR_H

#include <cstddef>
#include <string>

namespace bench {

// Writes the messages of `records` plain records, by `threads` threads: one ready record is copied into one reused
// buffer a thread, and the files are written with the calls that the library makes.
void writeFloor(std::size_t records, unsigned int threads);

// One thread writes `count` messages of one record each, one after another.
void writeSmallFloor(std::size_t count);

// One message file, with the calls that the library makes: open, one write, fsync, close.
void writeMessage(const std::string& path, const char* bytes, std::size_t length);

}  // namespace bench

#endif
