// SHA-256 of bytes against the standard's test vectors, and of files read in pieces.
#include "formats/ZrSha256.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "tests/common/ZrTestFiles.h"
#include "tests/common/ZrTestUtil.h"

namespace {

TEST(ZrSha256, StandardVectors) {
  const struct {
    std::string Bytes;
    const char* Hex;
  } cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1000000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ZrSha256Hex(c.Bytes), c.Hex) << c.Bytes.size() << " bytes";
  }
}

TEST(ZrSha256, FilesAreHashedWholeOrRefusedWithTheirPath) {
  QTemporaryDir dir;
  const std::string path = dir.path().toStdString() + "/f";
  // Longer than two of the pieces the file is read in, and not a whole number of them.
  std::string bytes(2621447, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 2654435761u >> 24);
  ASSERT_TRUE(ZrTestWriteFile(path, bytes));
  EXPECT_EQ(ZrFileSha256Hex(path), ZrSha256Hex(bytes));
  for (const std::string& bad : {path + "-missing", dir.path().toStdString()}) {
    EXPECT_EQ(ZrErrorText([&] { ZrFileSha256Hex(bad); }).rfind(bad + ": cannot open (", 0), 0u)
        << bad;
  }
}

}  // namespace
