#include "report/store/attachments.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace wrenfall {
namespace {

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

TEST(AttachmentNames, GivesEachFileANameOfItsOwn) {
  const std::string long_name = std::string(251, 'n') + ".txt";
  const auto accents = [](size_t count) {
    std::string text;
    while (text.size() < 2 * count) text += "\xC3\xA9";
    return text;
  };
  const std::string long_accents = accents(125) + "x.txt";
  const struct {
    std::vector<std::string> names;
    std::vector<std::string> expected;
  } rows[] = {
      {{"log.txt", "log.txt", "log.txt"}, {"log.txt", "log (2).txt", "log (3).txt"}},
      {{"log.txt", "LOG.TXT"}, {"log.txt", "LOG (2).TXT"}},
      {{"log (2).txt", "log.txt", "log.txt"}, {"log (2).txt", "log.txt", "log (3).txt"}},
      {{"core", "core"}, {"core", "core (2)"}},
      {{".profile", ".profile"}, {".profile", ".profile (2)"}},
      {{"a.tar.gz", "a.tar.gz"}, {"a.tar.gz", "a.tar (2).gz"}},
      {{"wrenfallcrashdata.JSON"}, {"wrenfallcrashdata (2).JSON"}},
      {{"WrenfallCrashData.json.tmp"}, {"WrenfallCrashData.json (2).tmp"}},
      {{"result.json", "Result.json.TMP"}, {"result (2).json", "Result.json (2).TMP"}},
      {{"WrenfallCrash.zip"}, {"WrenfallCrash (2).zip"}},
      {{"wfattachment.tmp", "feedback.json.tmp"},
       {"wfattachment (2).tmp", "feedback.json (2).tmp"}},
      {{"MINIDUMP.DMP", "minidump.dmp"}, {"MINIDUMP (2).DMP", "minidump (3).dmp"}},
      {{"WRENFALL.log", "Wrenfall.log"}, {"Wrenfall-store.log", "Wrenfall-store (2).log"}},
      // The system takes each of these for the name without its end.
      {{"result.json. .", "a:b.txt", "..."}, {"result (2).json", "a_b.txt", "attachment"}},
      {{"caf\xC3\xA9.txt", "caf\xC3\xA9.txt"}, {"caf\xC3\xA9.txt", "caf\xC3\xA9 (2).txt"}},
      // No longer than a name may be, and not cut inside a character.
      {{long_name, long_name}, {long_name, std::string(247, 'n') + " (2).txt"}},
      {{long_accents, long_accents}, {long_accents, accents(123) + " (2).txt"}},
      {{"." + long_name, "." + long_name},
       {"." + long_name, "." + std::string(246, 'n') + " (2).txt"}},
  };
  for (const auto& row : rows) {
    std::set<std::string> taken;
    std::vector<std::string> names;
    AttachmentNames free_names(
        [&](const std::string& candidate) { return taken.count(lower(candidate)) != 0; });
    for (const std::string& name : row.names) {
      names.push_back(free_names.free_name(name));
      taken.insert(lower(names.back()));
    }
    EXPECT_EQ(names, row.expected) << row.names.front();
  }
}

TEST(AttachmentNames, AreFoundInLinearTime) {
  constexpr unsigned kFiles = 3000;
  unsigned asked = 0;
  std::set<std::string> taken;
  AttachmentNames free_names([&](const std::string& candidate) {
    ++asked;
    return taken.count(candidate) != 0;
  });
  for (unsigned i = 0; i < kFiles; ++i) taken.insert(free_names.free_name("log.txt"));
  EXPECT_EQ(taken.size(), kFiles);
  EXPECT_LE(asked, 2 * kFiles);
}

}  // namespace
}  // namespace wrenfall
