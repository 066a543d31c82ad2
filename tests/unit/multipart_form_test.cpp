#include <gtest/gtest.h>

#include <set>

#include "upload/multipart_form.h"

namespace wrenfall {
namespace {

TEST(MultipartForm, BoundariesAreFreshAndUseTheWholeAlphabet) {
  const std::string head = "multipart/form-data; boundary=----WrenfallFormBoundary";
  const std::string alphabet = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::set<std::string> seen;
  std::set<char> used;
  // Each of the 62 characters is missing from 200 boundaries of 16 with a probability of 2e-23.
  for (int i = 0; i < 200; ++i) {
    const std::string type = MultipartForm::create().content_type();
    ASSERT_EQ(type.substr(0, head.size()), head);
    const std::string drawn = type.substr(head.size());
    ASSERT_EQ(drawn.size(), 16u) << type;
    ASSERT_EQ(drawn.find_first_not_of(alphabet), std::string::npos) << type;
    ASSERT_TRUE(seen.insert(drawn).second) << "twice: " << type;
    used.insert(drawn.begin(), drawn.end());
  }
  EXPECT_EQ(used.size(), alphabet.size());
}

}  // namespace
}  // namespace wrenfall
