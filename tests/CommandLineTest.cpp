// The option loop, in this process, and the help text.
#include "CommandLine.h"

#include <cstdint>
#include <string>
#include <vector>

#include "NodeFixture.h"

using orvtest::Lines;

namespace {

// clang-format off
constexpr const char *HELP =
    "Usage: ORVDaemonExe [options]\n\n"
    "Options:\n"
    "  -h                                            This help\n"
    "  -v, --verbose                                 Increase printing\n"
    "  -c, --config <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags\n"
    "  -s, --config_short <tag1>=<data1>[,<tag2>=<data2>]  Set configuration tags\n"
    " --startup[=nid=NID,testerport=<default 15005>,printport=<default 51005>,printip=<default 0x7f000001>,cename=<name>,masternid=<default NID>,masterip=<default 127.0.0.1>,mastergwport=<master gw port>,slavenids=<slave1nid:ip1:gwport>#<slave2nid:ip2:gwport>#...],configfile=<ORVEarlyConfig.xml>,rtconfigfile=<RTORVConfig.xml>,executable=</opt/pelt/PELTStartupExe>,tbtscpid=<0x4d5>\n"
    "Examples:"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,configfile=ORVEarlyConfig.xml,rtconfigfile=RTORVConfig.xml\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=myCe,executable=/opt/pelt/PELTStartupExe\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,tbtscpid=0x4d5\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "./ORVDaemonExe --startup=nid=0x2011,testerport=15006,cename=slave1Ce,masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "./ORVDaemonExe --startup=nid=0x3011,testerport=15008,cename=slave2Ce,masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,notifreceiver=0xf011315,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,btslogport=15004\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,testermultiplicity=10\n"
    "./ORVDaemonExe --startup=nid=0x1011,testerport=15005,cename=masterCe,masternid=0x1011,masterip=192.168.10.101,mastergwport=15155,slavenids=0x2011:192.168.10.102:15156#0x3011:192.168.10.103:15157,syscomgwprotocol=UDPCP\n"
    "\n";
// clang-format on

constexpr const char *END_LINE = "Master NID value in RT startup 0x0000\n";

class ParseCommandLine : public orvtest::NodeTest {
 protected:
  struct Outcome {
    bool result;
    std::string output;
    std::string error;

    bool operator==(const Outcome &) const = default;
    friend std::ostream &operator<<(std::ostream &stream, const Outcome &outcome) {
      return stream << outcome.result << "\nstandard output:\n"
                    << outcome.output << "standard error:\n"
                    << outcome.error;
    }
  };

  Outcome parse(const std::vector<std::string> &arguments) {
    // The start-up record may point into them for as long as the test lives.
    arguments_ = arguments;
    arguments_.insert(arguments_.begin(), "ORVDaemonExe");
    std::vector<char *> pointers;
    for (std::string &argument : arguments_)
      pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Outcome outcome;
    outcome.result = parseCommandLine(static_cast<int>(arguments_.size()), pointers.data());
    outcome.error = testing::internal::GetCapturedStderr();
    outcome.output = testing::internal::GetCapturedStdout();
    return outcome;
  }

 private:
  std::vector<std::string> arguments_;
};

class DispatchLongOption : public orvtest::NodeTest {
 protected:
  // What standard error gets.
  static std::string dispatch(int index, char *argument) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    dispatchLongOption(index, argument);
    const std::string error = testing::internal::GetCapturedStderr();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    return error;
  }
};

}  // namespace

TEST(Usage, PrintsTheHelpText) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  usage();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), HELP);
}

TEST(Usage, FirstExampleSharesItsLineWithTheHeading) {
  testing::internal::CaptureStdout();
  usage();
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_NE(text.find("\nExamples:./ORVDaemonExe --startup=nid=0x1011,testerport=15005\n"), std::string::npos);
}

TEST_F(ParseCommandLine, NoArgumentIsNoOption) {
  EXPECT_EQ(parse({}), (Outcome{false, "", ""}));
}

TEST_F(ParseCommandLine, OtherArgumentsAreNoOptions) {
  EXPECT_EQ(parse({"file", "-", "--", "-h"}), (Outcome{false, "", ""}));
}

TEST_F(ParseCommandLine, HelpIsPrintedAndParsingGoesOn) {
  EXPECT_EQ(parse({"-h", "-c", "a=1"}), (Outcome{true, HELP, ""}));
  EXPECT_EQ(tags(), (Lines{"a u32 1"}));
}

TEST_F(ParseCommandLine, HelpTwiceIsPrintedTwice) {
  EXPECT_EQ(parse({"-h", "-h"}), (Outcome{true, std::string(HELP) + HELP, ""}));
}

TEST_F(ParseCommandLine, VerboseChangesNothing) {
  EXPECT_EQ(parse({"-v"}), (Outcome{true, "", ""}));
  optind = 0;
  EXPECT_EQ(parse({"--verbose", "-vv"}), (Outcome{true, "", ""}));
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseCommandLine, EachTagOptionHasItsWidth) {
  EXPECT_EQ(parse({"-c", "a=1", "-s", "b=2", "--config", "c=3", "--config_short", "d=4"}), (Outcome{true, "", ""}));
  EXPECT_EQ(tags(), (Lines{"a u32 1", "b u16 2", "c u32 3", "d u16 4"}));
}

TEST_F(ParseCommandLine, ArgumentMayBeAttached) {
  EXPECT_EQ(parse({"-ca=1", "-sb=2", "--config=c=3", "--config_short=d=4", "-vce=5"}), (Outcome{true, "", ""}));
  EXPECT_EQ(tags(), (Lines{"a u32 1", "b u16 2", "c u32 3", "d u16 4", "e u32 5"}));
}

TEST_F(ParseCommandLine, LaterOptionOverwritesAnEarlierOne) {
  EXPECT_EQ(parse({"-c", "a=1", "-s", "a=2", "--startup=cename=one", "-c", "sys.ce.name=two"}),
            (Outcome{true, "", std::string("CE name set to one\n") + END_LINE}));
  EXPECT_EQ(tags(), (Lines{"a u16 2", "sys.ce.name string two"}));
}

TEST_F(ParseCommandLine, StartupTakesItsArgumentBehindAnEqualsSignOnly) {
  EXPECT_EQ(parse({"--startup", "nid=1"}), (Outcome{true, "", END_LINE}));
  optind = 0;
  EXPECT_EQ(parse({"--startup="}), (Outcome{true, "", END_LINE}));
  optind = 0;
  EXPECT_EQ(parse({"--startup=nid=1"}), (Outcome{true, "", std::string("NID set to 0x0001\n") + END_LINE}));
}

TEST_F(ParseCommandLine, SeveralStartupOptionsAreCarriedOutOneAfterTheOther) {
  EXPECT_EQ(parse({"--startup=masternid=1,bogus", "--startup=nid=2"}),
            (Outcome{true, "",
                     "Master NID set to 0x0001\nUnknown option 'bogus'\n"
                     "NID set to 0x0002\nMaster NID value in RT startup 0x0001\n"}));
}

TEST_F(ParseCommandLine, OptionsBehindOtherArgumentsCount) {
  EXPECT_EQ(parse({"file", "-c", "a=1"}), (Outcome{true, "", ""}));
  EXPECT_EQ(tags(), (Lines{"a u32 1"}));
}

TEST_F(ParseCommandLine, NothingIsReadBehindTwoDashes) {
  EXPECT_EQ(parse({"-v", "--", "-h", "-c", "a=1"}), (Outcome{true, "", ""}));
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseCommandLine, UnknownOptionIsReportedAndSkipped) {
  EXPECT_EQ(parse({"-x", "-c", "a=1"}), (Outcome{true, "", "ORVDaemonExe: invalid option -- 'x'\n"}));
  EXPECT_EQ(tags(), (Lines{"a u32 1"}));
  optind = 0;
  EXPECT_EQ(parse({"--bogus", "-c", "b=2"}), (Outcome{true, "", "ORVDaemonExe: unrecognized option '--bogus'\n"}));
  EXPECT_EQ(tags(), (Lines{"a u32 1", "b u32 2"}));
}

TEST_F(ParseCommandLine, MissingArgumentIsReportedAndSkipped) {
  const std::pair<std::string, std::string> options[] = {
      {"-c", "ORVDaemonExe: option requires an argument -- 'c'\n"},
      {"-s", "ORVDaemonExe: option requires an argument -- 's'\n"},
      {"--config", "ORVDaemonExe: option '--config' requires an argument\n"},
      {"--config_short", "ORVDaemonExe: option '--config_short' requires an argument\n"},
  };
  for (const auto &[option, diagnostic] : options) {
    optind = 0;
    EXPECT_EQ(parse({"-h", option}), (Outcome{true, HELP, diagnostic}));
  }
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(ParseCommandLine, UnwantedArgumentIsReportedAndSkipped) {
  EXPECT_EQ(parse({"--verbose=1", "-c", "a=1"}),
            (Outcome{true, "", "ORVDaemonExe: option '--verbose' doesn't allow an argument\n"}));
  EXPECT_EQ(tags(), (Lines{"a u32 1"}));
}

TEST_F(DispatchLongOption, VerboseDoesNothing) {
  char argument[] = "a=1";
  EXPECT_EQ(dispatch(0, argument), "");
  EXPECT_EQ(tags(), Lines{});
}

TEST_F(DispatchLongOption, StartupCarriesOutItsArgument) {
  char argument[] = "nid=1";
  EXPECT_EQ(dispatch(1, argument), std::string("NID set to 0x0001\n") + END_LINE);
  EXPECT_EQ(dispatch(1, nullptr), END_LINE);
}

TEST_F(DispatchLongOption, ConfigSets32BitTags) {
  char argument[] = "a=65537";
  EXPECT_EQ(dispatch(2, argument), "");
  EXPECT_EQ(tags(), (Lines{"a u32 65537"}));
}

TEST_F(DispatchLongOption, ConfigShortSets16BitTags) {
  char argument[] = "a=65537";
  EXPECT_EQ(dispatch(3, argument), "");
  EXPECT_EQ(tags(), (Lines{"a u16 1"}));
}

TEST_F(DispatchLongOption, AnyOtherIndexIsReported) {
  char argument[] = "a=1";
  EXPECT_EQ(dispatch(4, argument), "Unknown option 'a=1'\n");
  EXPECT_EQ(dispatch(-1, argument), "Unknown option 'a=1'\n");
  EXPECT_EQ(dispatch(4, nullptr), "Unknown option ''\n");
  EXPECT_EQ(tags(), Lines{});
}
