// The two readers at the system's limits.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <tuple>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/SystemCalls.h"
#include "tests/units/wav_units.h"

using test::FileSizeLimit;

namespace {

// The strict reader has no result for it.
TYPED_TEST(Mirror, ThatTheDiskRefusesAtTheClose) {
  this->Open(this->source_);
  ASSERT_EQ(this->Create(), 0);
  test::HookSystemCalls([](const char* name, int file) {
    return std::strcmp(name, "close") == 0 && close(file) == 0 ? ENOSPC : 0;
  });
  EXPECT_EQ(this->unit.CloseMFile(), this->kReportsShortReads ? 17 : 0);
  test::HookSystemCalls(nullptr);
  EXPECT_EQ(this->unit.CloseMFile(), 5);
}

// A source that declares more samples than it has bytes: the size of its header wraps round. 2 GiB in one
// piece are refused, as no 32-bit process has them; less is tried.
TYPED_TEST(Mirror, OfAFileThatDeclaresTooMuch) {
  for (const auto& [declared, strict, searching] :
       {std::tuple{1045u, 17, 17}, {0x7FFFFFFFu, 17, 17}, {0xA0000000u, 17, 2}, {0xFFFFFF00u, 0, 2}}) {
    SCOPED_TRACE(declared);
    const int result = this->kReportsShortReads ? searching : strict;
    const Bytes source = With(this->source_, 40, declared);
    this->Open(source);
    const FileSizeLimit full(1 << 20);
    EXPECT_EQ(this->Create(), result);
    EXPECT_EQ(this->unit.CloseWFile(), result == 2 ? 5 : 0);
    EXPECT_EQ(this->unit.CloseMFile(), result == 17 ? 5 : 0);
    EXPECT_TRUE(result != 0 || Load(this->mirror_) == Join({source, Bytes(1300 - source.size())}));
  }
}

TEST_F(SubBuffer, OnAFullDiskIsLostAndTheMirrorClosedOnce) {
  const Bytes data = Pattern(8192);
  const std::function<int()> kFailures[] = {[&] { return unit.CloseMFile(); },
                                            [&] { return unit.WriteFlushSubBuf(); },
                                            [&] { return unit.WriteMirrorSubBuf(data.data(), 8192); },
                                            [&] { return unit.WriteMirrorBuf(data.data(), 8192); }};
  for (const auto& fails : kFailures) {
    Open(source_);
    ASSERT_EQ(Create(), 0);
    const FileSizeLimit full(100);
    EXPECT_EQ(unit.WriteMirrorSubBuf(data.data(), 100), 0);
    EXPECT_EQ(fails(), 17);
    EXPECT_EQ(unit.WriteMirrorSubBuf(data.data(), 1), 16);
    EXPECT_EQ(unit.CloseMFile(), 5);
    EXPECT_EQ(Load(mirror_).size(), 100u);
  }
}

}  // namespace
