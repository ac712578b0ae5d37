#include "tests/apps/tool_test_support.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

#if !defined(_WIN32)
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace tn_test {
namespace {

int processId() {
#if defined(_WIN32)
  return std::rand();
#else
  return getpid();
#endif
}

}  // namespace

ToolTest::ToolTest() {
  const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
  folder_ = std::filesystem::temp_directory_path() /
            (std::string("tarnkit-") + test->name() + "-" + std::to_string(processId()));
  std::filesystem::create_directories(folder_);
}

ToolTest::~ToolTest() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void ToolTest::write(const std::string& name, const std::string& content) const {
  std::ofstream(path(name), std::ios::binary) << content;
}

std::string ToolTest::read(const std::string& name) const {
  std::ifstream in(path(name), std::ios::binary);
  EXPECT_TRUE(in) << name;
  return std::string(std::istreambuf_iterator<char>(in), {});
}

ToolResult ToolTest::tool(const std::string& arguments, const std::string& before) const {
  const std::string command = "cd \"" + folder_.string() + "\" && " + before +
                              " \"" TARNKIT_PROGRAM "\" " + arguments + " >stdout.txt 2>stderr.txt";
  int status = std::system(command.c_str());
#if !defined(_WIN32)
  status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  return {status, read("stdout.txt"), read("stderr.txt")};
}

testing::AssertionResult isOneLineWith(const std::string& err, const std::string& text) {
  if (err.rfind("tarnkit: ", 0) != 0 || err.find('\n') != err.size() - 1)
    return testing::AssertionFailure() << "not one line of the tool: " << err;
  if (err.find(text) == std::string::npos)
    return testing::AssertionFailure() << "'" << text << "' is not in: " << err;
  return testing::AssertionSuccess();
}

}  // namespace tn_test
