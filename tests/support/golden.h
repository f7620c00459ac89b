// Golden dumps: everything that an input says about one file, as text that a human can check, under a matrix of ways in
// which files behave.
//
// A dump stands in tests/data/golden/ASSET.txt: technical fields, tags, what was logged, the PCM as frames and MD5, and
// the same after seeks. `ZELMORA_UPDATE_GOLDEN=1` writes the files anew; read them before they are committed, and check
// a first one against an independent reader.
//
// The matrix, and what each row must give:
//   plain, one byte at a time  the golden text
//   size not known             the same but for the length and the log, which may rest on the size
//   no seeking                 the same but for the length, the log and the seeks; with `golden_traits::needs_seeking`
//                              an I/O exception, too
//     with `needs_ends`          both of these: any text but a refusal
//   failure at each operation  the golden text, or an I/O exception
//   end of file at each read   any text, or an I/O exception
//   abort at each operation    the golden text, or the exception of an abort
#pragma once

#include <string_view>

namespace zelmora::test {

struct golden_traits {
  bool needs_seeking = false; ///< the file can't be read from front to back
  bool needs_ends = false;    ///< what it tells rests on both its ends: without seeking or a size it plays all the same
  bool is_refused =
      false; ///< the file opens with no input: a dump that shows one is a failure, and the other way round
};

/// Runs the matrix over tests/data/ASSET, and reports differences as failures of the running test. The inputs are those
/// linked into the program.
void check_golden(std::string_view asset, const golden_traits& traits = {});

} // namespace zelmora::test
