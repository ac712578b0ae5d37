// What is left of a file that was not finished.
#include "apps/output/output_file.h"

#include "tests/apps/tool_test_support.h"

namespace {

using namespace tarnkit;

class OutputFileTest : public tn_test::ToolTest {};

TEST_F(OutputFileTest, KeepsWhatWasCompleteWhenAbandoned) {
  {
    OutputFile file(path("part"));
    file.write("frame 1\n");
    file.markComplete();
    file.write("frame");
  }
  EXPECT_EQ(read("part"), "frame 1\n");
  { OutputFile(path("none")).write("never complete"); }
  EXPECT_FALSE(exists("none"));
  OutputFile file(path("part"));
  file.write("all");
  file.close();
  EXPECT_EQ(read("part"), "all");
}

}  // namespace
