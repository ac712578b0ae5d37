// Where results go: a file or standard output, every write checked.
#ifndef TN_KITS_APPS_OUTPUT_OUTPUT_FILE_H_
#define TN_KITS_APPS_OUTPUT_OUTPUT_FILE_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tarnkit {

// A file that is written from start to end. What was written up to the last markComplete() survives
// any later failure: when the object goes away without close(), the rest is cut off again, and a
// regular file that never held anything complete is removed.
//
// A process that is killed leaves what it had written, and each write() is one call of the system. The
// system in turn may stop in the midst of one where it crosses a page of the file, so that what is cut
// short then ends at a multiple of the page's size.
class OutputFile {
 public:
  // path: replaced if it exists; "-" is standard output, from which nothing can be cut off.
  // Throws Failure when it cannot be opened.
  explicit OutputFile(const std::string& path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // One write, unbuffered. Throws Failure naming the file; later writes then do nothing but throw.
  void write(const void* data, std::size_t size);
  void write(const std::string& text) { write(text.data(), text.size()); }

  // The same, and what was written so far is then complete.
  void writeComplete(const std::string& text) {
    write(text);
    markComplete();
  }

  // Everything written so far is worth keeping.
  void markComplete() { complete_ = written_; }

  // Marks all complete and closes. Throws Failure when the system only now reports a lost write.
  void close();

 private:
  std::string path_, name_;
  std::FILE* file_;
  std::uintmax_t written_ = 0, complete_ = 0;
  bool failed_ = false;
};

// Writes a whole file at once, or leaves none behind.
void writeFile(const std::string& path, const std::string& header, const void* data, std::size_t size);

// Throws Failure if one of the outputs is an input's file or another output's: replacing a file while it
// is read, or twice, loses it, and two outputs would mix on standard output ("-"). "" is none.
void requireDistinctFiles(const std::vector<std::string>& inputs,
                          const std::vector<std::string>& outputs);

}  // namespace tarnkit

#endif  // TN_KITS_APPS_OUTPUT_OUTPUT_FILE_H_
