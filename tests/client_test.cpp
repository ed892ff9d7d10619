// quorin_poectl: what people's words mean, what answers become, how the program ends.
#include <clocale>
#include <regex>

#include "api/requests.h"
#include "cli/failure.h"
#include "client/commands/schedule/schedules.h"
#include "daemon/paths.h"
#include "tests/support/daemon_process.h"

namespace {

const Zone kBerlin("Europe/Berlin");
constexpr int64_t kTuesday = 1772543232;  // Tue 2026-03-03 14:07:12 in Berlin

// What a call gives, or the exit status and the text of its failure.
std::string outcome(const std::function<std::string()>& call) try {
  return call();
} catch (const Failure& failure) {
  return std::to_string(failure.status()) + " " + failure.what();
}

std::string beginning(const std::string& text, const std::string& expected) {
  return text.substr(0, expected.size());
}

// Answers whatever it is asked with the same line.
class OneAnswer : public Daemon {
 public:
  explicit OneAnswer(std::string line) : line_(std::move(line)) {}
  std::string exchange(const std::string&, const std::string&) override { return line_; }

 private:
  std::string line_;
};

using ClientTest = RunningDaemonTest;

}  // namespace

TEST(ClientWords, portsAreFoundByNumberNameRangeAndLabel) {
  std::vector<std::string> faults;
  const auto lines = parsePortLines("# x\n1 x cam-1 b\n3 - twin\n4 - twin\n9 9/9\nx y\n7", &faults);
  EXPECT_EQ(faults.size(), 2U);
  const auto ask = [](uint32_t ifNum) { return ifNum == 9 ? "" : "1/0/" + std::to_string(ifNum); };
  const PortNames names(ask, lines);
  const std::vector<PoePort> ports{{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 9}, {2, 12}};
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"1/0/1-3", "2"}, "1/0/1-3"},
      {{"#4,1/0/1,9/9", "cam-1 b"}, "1/0/1,1/0/4,9/9"},
      {{"1/0/4-1"}, "2 \"1/0/4-1\" is no range"},
      {{"twin"}, "2 the label \"twin\" is on 1/0/3-4"},
      {{"cam-2 b"}, "10 no PoE port \"cam-2 b\": unit 1 has 1/0/1 to 9/9, unit 2 has 1/0/12. Did"},
      {{"1/0/3-5"}, "10 no PoE port \"1/0/5\": unit 1 has 1/0/1 to 9/9.  See"},
      {{""}, "10 no PoE port \"\""}};
  for (const auto& [words, expected] : rows) {
    const auto parse = [&, w = words] { return names.ranges(ifNumsOf(names.parse(w, ports))); };
    EXPECT_EQ(beginning(outcome(parse), expected), expected);
  }
}

TEST(ClientWords, timesAreReadAsPeopleMeanThem) {
  const std::tuple<const char*, Toward, const char*> rows[] = {
      {"14:30", Toward::past, "Mon 2026-03-02 14:30:00"},
      {"14:00", Toward::future, "Wed 2026-03-04 14:00:00"},
      {"tue 14:30", Toward::past, "Tue 2026-02-24 14:30:00"},
      {"Tuesday", Toward::past, "Tue 2026-03-03 00:00:00"},
      {"sun", Toward::future, "Sun 2026-03-08 00:00:00"},
      {"yesterday 03:00", Toward::past, "Mon 2026-03-02 03:00:00"},
      {"2026-07-01T12:00:58Z", Toward::past, "Wed 2026-07-01 14:00:58"},
      {"-1h30m", Toward::past, "Tue 2026-03-03 12:37:12"}};
  for (const auto& [text, toward, expected] : rows) {
    const auto instant = parseMoment(text, kTuesday, kBerlin, toward);
    EXPECT_EQ(instant ? momentText(*instant, kBerlin) : "none", expected) << text;
  }
  for (const char* text : {"", "24:00", "2026-02-29", "tue tue", "-", "-5x", "14:00:60"}) {
    EXPECT_FALSE(parseMoment(text, kTuesday, kBerlin)) << text;
  }
  EXPECT_EQ(rfc3339(kTuesday, kBerlin), "2026-03-03T14:07:12+01:00");
  EXPECT_EQ(parseDurationMs("1h1m500ms").value_or(-1), 3660500);
}

TEST(ClientWords, tablesKeepTheirColumnsWhateverIsInThem) {
  setlocale(LC_CTYPE, "C.UTF-8");
  Table table({{"NAME"}, {"EMPTY"}, {"W", Align::right}});
  table.row({"日本\x1b\xff", "", "12.5"});
  table.row({"x", "", "5"});
  table.note("why");
  EXPECT_EQ(table.text({}), "NAME             W\n日本\\x1b\\xff  12.5\nx                5\n" +
                                std::string(10, ' ') + "why\n");
  EXPECT_EQ(table.text({false, false, 5}), "NAME\n日本>\nx\n\n");
}

TEST(ClientWords, schedulesTellWhenTheyActNextOrWhyNever) {
  const std::pair<const char*, std::string> rows[] = {
      {R"("scheduleType":"power_off","startTime":"22:00","endTime":"06:00","recurrence":"weekly",
          "recurrenceDays":[1])",
       "mon Mon 06:00 on"},
      {R"("restartTime":"14:7")", "daily Wed 14:07"},
      {R"("restartTime":"02:30","startDate":"2026-03-29")", "daily 2026-03-29.. Mon 2026-03-30"},
      {R"("recurrence":"monthly","recurrenceDays":[29])", "29 monthly Sun 2026-03-29 07:30"},
      {R"("restartTime":"25:00")", "daily never: \"25:00\" is not a time of day"},
      {R"("endDate":"2026-03-02")", "daily ..2026-03-02 never: its dates ended on 2026-03-02"},
      {R"("recurrence":"weekly")", "no days never: it has no days"}};
  for (const auto& [members, expected] : rows) {
    const JsonPtr object = jsonParse(scheduleJson(members).c_str());
    const std::string text = schedulesText(
        {readSchedule(object.get(), 1)}, {{}},
        {PortNames({}, {}), SwitchNow(SwitchTime(kTuesday)), {}, kBerlin, kBerlin, false, {}});
    const std::string row = std::regex_replace(text, std::regex(" +"), " ");
    EXPECT_EQ(beginning(row.substr(row.find("#1 ") + 3), expected), expected);
  }
}

TEST(ClientWords, anAnswerThatLacksWhatItMustHaveIsNoEmptyList) {
  for (const auto& [answer, expected] : rowsOf(R"({"ok":true} -> it has no result
{"ok":true,"result":[]} -> result is no object
{"ok":true,"result":{}} -> result has no schedules
{"ok":true,"result":{"schedules":7}} -> result.schedules is no array
{"ok":true,"result":{"schedules":[7]}} -> result.schedules[0] is no object
{"ok":true,"result":{"schedules":[{"scheduleId":"1"}]}} -> result.schedules[0].scheduleId is no number
{"ok":false} -> it has no error)")) {
    const std::string words = outcome([line = answer] {
      OneAnswer daemon(line);
      return std::to_string(askSchedules(daemon, 1).size());
    });
    EXPECT_EQ(words, "4 the daemon's answer to schedule.list is not as it should be: " + expected +
                         ". It is older or newer than this client.");
  }
  OneAnswer newer(R"({"ok":true,"more":1,"result":{"schedules":[],"more":{}}})");
  EXPECT_EQ(askSchedules(newer, 1).size(), 0U);
}

TEST_F(ClientTest, theProgramTellsHowItWentByItsExitStatus) {
  expectCommands(std::string("quorin_poectl --socket ") + kSocketPath,
                 R"(ports 1/0/1-2 --json -> 0 "name":"1/0/2","label":null
ports --help >/dev/full -> 1 could not be written
schedule lst --jsno -> 2 Did you mean list?
schedule list --json -> 0 {"schedules":[]}
call schedule.get '{"unit":1,"scheduleId":7}' -> 4 unit 1 has no schedule 7. See
call manual.reset '{"unit":1,"request":{"ifNum":[]}}' -> 2 ifNum? did you mean ifNums
--socket /no/such.sock wait --for 1ms -> 6 no daemon answered within 1 ms
wait --json -> 2 wait prints no JSON: leave out --json
call history.list '{"unit":1}' -> 0 {"ok":true,"result":{"runs":[]
call history.detail '{"unit":1,"runId":9}' -> 4 error 10023 (ERR_NOT_FOUND)
call history.list -> 4 error 10003 (ERR_INVALID_ARG)
call no.such -> 4 {"ok":false,"error":17002}
--socket /no/such.sock call history.list -> 8 no daemon answers at /no/such.sock
call history.list '{unit' -> 2 not a JSON document
call -> 2 METHOD is required
--help -> 0 Exit status)");
}
