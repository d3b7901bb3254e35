#include "access/audit_line.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "access/interface_names.h"
#include "caller_for_tests.h"

namespace ktsvc::access {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::system_clock::time_point;

// 2026-01-31T12:00:00Z.
constexpr Time kNoon{std::chrono::seconds(1769860800)};

AuditEntry TraceControl() {
  AuditEntry entry(CallerForTests::Peer("alice", 1000));
  entry.time = kNoon + 123ms;
  entry.action = Action::SendControl(*InterfaceFromText("trace"), 0, 11005);
  entry.object = "{00000000-0000-0000-0000-000000000001}";
  entry.status = 0x80070057U;
  entry.allowed = true;
  entry.decidedBy = "/etc/ktsvc/access.conf:3";
  entry.duration = 1234us;
  return entry;
}

TEST(AuditLine, GivesAControlInOneLine) {
  EXPECT_EQ(
      AuditLine(TraceControl()),
      R"({"time":"2026-01-31T12:00:00.123Z","caller":{"kind":"user","name":"alice","uid":1000},)"
      R"("action":"control","object":"{00000000-0000-0000-0000-000000000001}",)"
      R"("interface":"{ADF0779F-76AD-48EB-8337-DFB8BF32016D}","interfaceName":"trace",)"
      R"("selector":0,"code":11005,"level":null,"status":"0x80070057","allowed":true,)"
      R"("decidedBy":"/etc/ktsvc/access.conf:3","durationUs":1234})"
      "\n");
}

TEST(AuditLine, GivesNullForWhatDoesNotApplyAndTheLevelWhereItDoes) {
  AuditEntry entry(CallerForTests::Token("ci"));
  entry.level = 3;
  entry.time = kNoon;
  entry.action = Action::SetTraceLevel();
  entry.decidedBy = "default";
  EXPECT_EQ(AuditLine(entry),
            R"({"time":"2026-01-31T12:00:00.000Z","caller":{"kind":"token",)"
            R"("name":"ci"},"action":"trace-level",)"
            R"("object":null,"interface":null,"interfaceName":null,"selector":null,"code":null,)"
            R"("level":3,"status":null,"allowed":false,"decidedBy":"default","durationUs":0})"
            "\n");
}

TEST(AuditLine, NamesTokensAndNamelessUsers) {
  AuditEntry entry = TraceControl();
  entry.caller = CallerForTests::Token("ci");
  EXPECT_NE(AuditLine(entry).find(R"("caller":{"kind":"token","name":"ci"},)"), std::string::npos);
  entry.caller = CallerForTests::Peer("", 4711);
  EXPECT_NE(AuditLine(entry).find(R"("caller":{"kind":"user","name":null,"uid":4711},)"),
            std::string::npos);
}

TEST(AuditLine, GivesNoNameForAnInterfaceThatHasNone) {
  AuditEntry entry = TraceControl();
  entry.action = Action::SendControl(KtGuid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, 7, 0xFFFFFFFFU);
  const auto json = nlohmann::json::parse(AuditLine(entry));
  EXPECT_EQ(json["interface"], "{00000001-0002-0003-0405-060708090A0B}");
  EXPECT_TRUE(json["interfaceName"].is_null());
  EXPECT_EQ(json["selector"], 7);
  EXPECT_EQ(json["code"], 4294967295);
}

TEST(AuditLine, StaysOneLineThatParsesWhateverTheTextsHold) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  for (const std::string& text :
       {all, std::string("\n{\"allowed\":true}\n"), std::string("\"\\\xFF\xED\xA0\x80"),
        std::string(1023, 'x') + "\xE2\x82\xAC", std::string(1000000, '"')}) {
    AuditEntry entry = TraceControl();
    entry.object = text;
    entry.decidedBy = text;
    entry.caller = CallerForTests::Peer(text, 1000);
    const std::string line = AuditLine(entry);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_LT(line.size(), 20000U);
    const auto json = nlohmann::json::parse(line);
    EXPECT_EQ(json["allowed"], true);
    EXPECT_TRUE(json["object"].is_string());
  }
}

TEST(LostLine, SaysHowManyAreMissing) {
  EXPECT_EQ(LostLine(kNoon, 12), "{\"time\":\"2026-01-31T12:00:00.000Z\",\"lost\":12}\n");
}

TEST(UtcText, GivesTheCalendarDateWithMilliseconds) {
  struct Row {
    std::int64_t milliseconds;
    const char* text;
  };
  for (const Row& row : {Row{0, "1970-01-01T00:00:00.000Z"}, Row{-1, "1969-12-31T23:59:59.999Z"},
                         Row{951827696789, "2000-02-29T12:34:56.789Z"},
                         Row{4107542400000, "2100-03-01T00:00:00.000Z"},
                         Row{1798761599999, "2026-12-31T23:59:59.999Z"}}) {
    EXPECT_EQ(UtcText(Time(std::chrono::milliseconds(row.milliseconds))), row.text);
  }
  EXPECT_EQ(UtcText(kNoon + 999us), "2026-01-31T12:00:00.000Z");
}

}  // namespace
}  // namespace ktsvc::access
