// Why a program is not online: each rule by the facts that it is for, its sentence to the letter, and the order of the
// rules where several fit.
#include "Why.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>

#include "ListeningSockets.h"
#include "StatusFacts.h"

using namespace statusfacts;

namespace {

using orv::Cause;
using orv::causeOf;
using orv::EuState;
using orv::ProcessDetails;
using orv::ProgramState;
using orv::WhyFacts;

WhyFacts factsOf(const orv::StatusSource &source, const std::string &name) {
  WhyFacts facts;
  facts.node = orv::nodeStatus(source);
  for (const orv::ProgramStatus &program : facts.node.programs) {
    if (program.name == name) facts.program = program;
  }
  EXPECT_EQ(facts.program.name, name);
  return facts;
}

ProcessDetails sleeper(uint32_t pid, const std::string &waitChannel) {
  ProcessDetails process;
  process.pid = pid;
  process.name = "pump";
  process.state = 'S';
  process.ageMs = 11700;
  process.processorMs = 20;
  process.waitChannel = waitChannel;
  return process;
}

// pump is awaited, and its process sleeps.
WhyFacts awaitedPump() {
  WhyFacts facts = factsOf(waitingNode(), "pump");
  facts.wait = waitingNode().startup->programs[1].wait;
  facts.process = sleeper(43, "hrtimer_nanosleep");
  return facts;
}

WhyFacts endedPump(int32_t waitStatus) {
  orv::StatusSource source = waitingNode();
  source.eus[2].state = EuState::PROGRAM_ENDED;
  source.eus[2].waitStatus = waitStatus;
  return factsOf(source, "pump");
}

WhyFacts unlaunchedPump(int32_t result) {
  orv::StatusSource source = waitingNode();
  source.eus[2].state = EuState::LAUNCH_FAILED;
  source.eus[2].result = result;
  return factsOf(source, "pump");
}

void expectCause(const WhyFacts &facts, const std::string &name, bool isWell, const std::string &sentence) {
  const Cause cause = causeOf(facts);
  EXPECT_EQ(cause.name, name);
  EXPECT_EQ(cause.isWell, isWell) << name;
  EXPECT_EQ(cause.sentence, sentence);
}

TEST(Why, ApplicationsWereSkipped) {
  orv::StatusSource source = waitingNode();
  source.plan.skipped = orv::SkipReason::UNGRACEFUL;
  expectCause(factsOf(source, "valve"), "applications_skipped", false,
              "valve was not started: applications are skipped, since the run record counts ungraceful shutdowns "
              "(orvctl ungraceful --clear and a restart start them again)");
}

TEST(Why, ProgramCouldNotBeStarted) {
  expectCause(unlaunchedPump(ENOENT), "launch_failed", false,
              "pump could not be started: there is no \"/bin/pump\", or the interpreter that it names is not on this "
              "machine");
  expectCause(unlaunchedPump(EACCES), "launch_failed", false,
              "pump could not be started: \"/bin/pump\" may not be executed (chmod +x, a directory, or a file system "
              "mounted noexec)");
  expectCause(unlaunchedPump(ENOEXEC), "launch_failed", false,
              "pump could not be started: \"/bin/pump\" is a program for another processor, or a script without a #! "
              "line");
  WhyFacts facts = unlaunchedPump(EMFILE);
  facts.launchFailure = "cannot start /bin/pump: Too many open files (out of descriptors)";
  expectCause(facts, "launch_failed", false,
              "pump could not be started: cannot start /bin/pump: Too many open files (out of descriptors)");
}

TEST(Why, ShellDidNotFindACommand) {
  WhyFacts facts = endedPump(127 << 8);
  expectCause(facts, "command_not_found", false,
              "pump exited with 127, by which a shell says that it did not find a command");
  facts.lastLines = {"first", "sh: pmup: not found"};
  expectCause(
      facts, "command_not_found", false,
      "pump exited with 127, by which a shell says that it did not find a command; its last line was \"sh: pmup: "
      "not found\"");
  expectCause(endedPump(126 << 8), "command_not_executable", false,
              "pump exited with 126, by which a shell says that it may not execute a command");
}

TEST(Why, ProgramEnded) {
  expectCause(endedPump(3 << 8), "program_failed", false, "pump exited with 3 before tag pump.online was set");
  expectCause(endedPump(11), "program_failed", false,
              "pump killed by signal 11 (SIGSEGV) before tag pump.online was set");
  expectCause(endedPump(0), "program_ended", false, "pump exited with 0 before tag pump.online was set");
  WhyFacts facts = endedPump(0);
  facts.onlineTag = tagSetBy("pump.online", "pump", 400);
  expectCause(facts, "program_finished", true, "pump has done its work and exited with 0");
}

TEST(Why, NodeWasShutDown) {
  orv::StatusSource source = waitingNode();
  source.eus[2].state = EuState::SHUT_DOWN;
  expectCause(factsOf(source, "pump"), "shut_down", true, "pump was ended by the shutdown of the node");
}

TEST(Why, DaemonIsDead) {
  orv::StatusSource source = waitingNode();
  source.daemonIsAlive = false;
  source.startup->state = orv::StartupState::INTERRUPTED;
  expectCause(factsOf(source, "pump"), "daemon_dead", false,
              "pump was not online yet: the daemon (pid 42) is dead, and took its programs with it");
  expectCause(factsOf(source, "valve"), "daemon_dead", false, "valve was not started: the daemon (pid 42) is dead");
  WhyFacts radio = factsOf(source, "radio");
  radio.onlineTag = tagSetBy("radio.online", "radio", 250);
  expectCause(radio, "daemon_dead", false,
              "radio ran until the daemon died: the daemon (pid 42) is dead, and took its programs with it");
}

TEST(Why, ProgramIsOnline) {
  WhyFacts facts = factsOf(waitingNode(), "radio");
  facts.onlineTag = tagSetBy("radio.online", "radio", 250);
  facts.onlineAfterMs = 40;
  expectCause(facts, "online", true, "radio is online: it took 40 ms from its start");
  facts.wait = orv::StartupWait{"radio.online", 0, 1, orv::WaitState::TIMED_OUT, 240000};
  expectCause(facts, "online", true, "radio is online, but was not in time: it took 40 ms from its start");
}

TEST(Why, TagWasSetByAProcessOfAnotherEu) {
  WhyFacts facts = factsOf(waitingNode(), "radio");
  facts.onlineTag = tagSetBy("radio.online", "pump", 250);
  facts.onlineAfterMs = 40;
  expectCause(facts, "online", true,
              "radio is online: it took 40 ms from its start; its tag radio.online was set by EU pump");
  facts.onlineTag->setter.euName = "";
  facts.onlineTag->setter.executable = "/usr/bin/orvctl";
  expectCause(facts, "online", true,
              "radio is online: it took 40 ms from its start; its tag radio.online was set by pid 50 "
              "(/usr/bin/orvctl)");
}

TEST(Why, NothingWaitsForTheProgram) {
  orv::StatusSource source = waitingNode();
  source.plan.programs[1].onlineTag = "";
  source.startup->programs[1].wait = std::nullopt;
  expectCause(factsOf(source, "pump"), "no_online_tag", true,
              "pump runs, and has no online tag, so nothing waits for it");
  expectCause(factsOf(source, "ceInternalStartupEu"), "no_program", true,
              "ceInternalStartupEu is an EU of the daemon and runs no program");
}

TEST(Why, StartupHasNotComeToIt) {
  expectCause(factsOf(waitingNode(), "valve"), "waits_for_turn", false,
              "valve waits for its turn: the start-up is at pump, whose tag pump.online is not set (orvctl why pump)");
  orv::StatusSource source = waitingNode();
  source.startup->programs[1].wait->state = orv::WaitState::ONLINE;
  expectCause(factsOf(source, "valve"), "waits_for_turn", false,
              "valve waits for its turn: the start-up has not come to it yet");
}

TEST(Why, DaemonIsStopped) {
  orv::StatusSource source = waitingNode();
  source.daemonIsStopped = true;
  expectCause(factsOf(source, "valve"), "daemon_stopped", false,
              "valve is not started, since the daemon (pid 42) is stopped (kill -CONT 42 lets it go on)");
}

TEST(Why, WasNotStartedInThisRun) {
  orv::StatusSource source = waitingNode();
  source.startup->state = orv::StartupState::COMPLETE;
  expectCause(factsOf(source, "valve"), "not_started", false,
              "valve was not started in this run: the definition file may have been changed since (/etc/AppDef.txt)");
}

TEST(Why, IsBeingStarted) {
  orv::StatusSource source = waitingNode();
  source.eus[2] = eu(3, "pump", "", 0);
  expectCause(factsOf(source, "pump"), "being_started", false, "pump is being started at this moment");
}

TEST(Why, ProgramIsStopped) {
  WhyFacts facts = awaitedPump();
  facts.process->state = 'T';
  expectCause(facts, "program_stopped", false,
              "pump is not online: pid 43 is stopped by a signal (kill -CONT 43 lets it go on)");
  facts.process->state = 't';
  expectCause(facts, "program_stopped", false,
              "pump is not online: pid 43 is stopped by a debugger (kill -CONT 43 lets it go on)");
}

TEST(Why, ProgramIsAZombieOrGone) {
  WhyFacts facts = awaitedPump();
  facts.process->state = 'Z';
  expectCause(facts, "zombie", false, "pump is not online: pid 43 has ended, and the daemon has not taken notice yet");
  facts.process = std::nullopt;
  expectCause(facts, "program_gone", false,
              "pump is not online: its process (pid 43) is gone, and the daemon has not taken notice yet");
}

TEST(Why, TagOfReadinessIsOfAnotherEu) {
  WhyFacts facts = awaitedPump();
  facts.program.onlineTag = "eu.pmup.ready";
  expectCause(facts, "ready_of_another", false,
              "pump is not online: its tag eu.pmup.ready is set by READY=1 of EU \"pmup\", and its own would be "
              "eu.pump.ready");
}

TEST(Why, ProgramSaidReadyAndSomethingElseIsAwaited) {
  WhyFacts facts = awaitedPump();
  facts.ownTags = {tagSetBy("eu.pump.ready", "pump", 400)};
  expectCause(facts, "ready_instead", false,
              "pump is not online: it said READY=1, which sets eu.pump.ready, and the start-up waits for pump.online");
}

TEST(Why, TagWasSetUnderAnotherName) {
  WhyFacts facts = awaitedPump();
  facts.ownTags = {tagSetBy("pump.onlin", "pump", 400)};
  facts.nearMisses = facts.ownTags;
  expectCause(
      facts, "tag_of_another_name", false,
      "pump is not online: it set tag \"pump.onlin\", and the start-up waits for \"pump.online\" (is one of them "
      "misspelt?)");
  facts.nearMisses = {tagSetBy("pump.onlin", "radio", 400)};
  expectCause(facts, "tag_by_another", false,
              "pump is not online: EU radio set tag \"pump.onlin\", and the start-up waits for \"pump.online\" (is one "
              "of them misspelt?)");
}

TEST(Why, ProgramWaitsInsideTheKernel) {
  WhyFacts facts = awaitedPump();
  facts.process->state = 'D';
  facts.process->waitChannel = "rpc_wait_bit_killable";
  expectCause(facts, "waits_in_kernel", false,
              "pump is not online: pid 43 is waiting inside the kernel in rpc_wait_bit_killable (waits for a file "
              "server): a device or a file system does not answer");
}

TEST(Why, ProgramIsBusy) {
  WhyFacts facts = awaitedPump();
  facts.process->state = 'R';
  facts.process->processorMs = 11000;
  expectCause(facts, "busy", false,
              "pump is not online: pid 43 is busy: 11 s of processor time in the 11.7 s since its start");
  facts.process->processorMs = 100;
  expectCause(facts, "not_set", false, "pump is not online: pid 43 runs and has not set tag pump.online");
}

TEST(Why, ProgramHasNotSaidThatItIsReady) {
  WhyFacts facts = awaitedPump();
  facts.program.onlineTag = "eu.pump.ready";
  expectCause(
      facts, "not_ready", false,
      "pump is not online: it has not said READY=1 (sd_notify), which would set its tag eu.pump.ready; pid 43 is "
      "sleeping in hrtimer_nanosleep (sleeps for a time)");
}

TEST(Why, ProgramSleeps) {
  WhyFacts facts = awaitedPump();
  expectCause(facts, "sleeping", false,
              "pump is not online: pid 43 is sleeping in hrtimer_nanosleep (sleeps for a time) and has not set tag "
              "pump.online");
  facts.program.state = ProgramState::LATE;
  expectCause(
      facts, "sleeping", false,
      "pump was not online in time: pid 43 is sleeping in hrtimer_nanosleep (sleeps for a time) and has not set "
      "tag pump.online");
  facts.process->waitChannel = "";
  expectCause(facts, "sleeping", false,
              "pump was not online in time: pid 43 is sleeping and has not set tag pump.online");
}

TEST(Why, ShellThatWaitsForItsChildLeadsToTheChild) {
  WhyFacts facts = awaitedPump();
  facts.process->waitChannel = "do_wait";
  facts.process->children = {sleeper(44, "unix_stream_read_generic")};
  expectCause(facts, "sleeping", false,
              "pump is not online: pid 43 waits for its child pid 44 (pump), which is sleeping in "
              "unix_stream_read_generic (waits at a local socket)");
}

TEST(Why, NearMissesReadMuchAlike) {
  for (const char *near : {"pump.onlin", "pump_online", "Pump.Online", "pumponline", "pump.onilne", "pump.online2"})
    EXPECT_TRUE(orv::isNearMiss(near, "pump.online")) << near;
  for (const char *far : {"pump.online", "radio.online", "online", "pump", "", "pump.temperature"})
    EXPECT_FALSE(orv::isNearMiss(far, "pump.online")) << far;
}

TEST(Why, TextToTheLetter) {
  WhyFacts facts = awaitedPump();
  facts.ownTags = {tagSetBy("pump.level", "pump", 400), tagSetBy("pump.onlin", "pump", 400)};
  facts.nearMisses = {facts.ownTags[1]};
  facts.process->listens = {"tcp 0.0.0.0:80"};
  facts.process->children = {sleeper(44, "")};
  facts.lastLines = {"filling", "full\x1b[31m"};
  EXPECT_EQ(orv::whyText(facts),
            "pump is not online: it set tag \"pump.onlin\", and the start-up waits for \"pump.online\" (is one of them "
            "misspelt?).\n"
            "\n"
            "state      awaiting tag pump.online\n"
            "awaits     tag pump.online for 11 s, another 3 min 48 s of 4 min at most\n"
            "program    /bin/pump\n"
            "a failure  raises an error, resets the board\n"
            "process    pid 43 (pump), sleeping in hrtimer_nanosleep (sleeps for a time), 20 ms of processor time in "
            "11.7 s, listens at tcp 0.0.0.0:80\n"
            "children     pid 44 (pump), sleeping, 20 ms of processor time in 11.7 s\n"
            "has set    pump.onlin = 1  <- did you mean pump.online?\n"
            "           pump.level = 1\n"
            "output     filling\n"
            "           full\\x1b[31m\n");
}

TEST(Why, JsonToTheLetter) {
  WhyFacts facts = awaitedPump();
  facts.lastLines = {"full"};
  facts.nearMisses = {tagSetBy("pump.onlin", "radio", 400)};
  EXPECT_EQ(
      orv::whyJson(facts),
      "{\"name\": \"pump\", \"cause\": \"tag_by_another\", \"sentence\": \"pump is not online: EU radio set tag "
      "\\\"pump.onlin\\\", and the start-up waits for \\\"pump.online\\\" (is one of them misspelt?)\", \"well\": "
      "false, \"state\": \"awaiting_tag\", \"path\": \"/bin/pump\", \"args\": \"\", \"online_tag\": "
      "\"pump.online\", \"online_tag_set\": false, \"online_after_ms\": null, \"wait\": {\"state\": "
      "\"still_waiting\", \"budget_ms\": 240000, \"began_ms\": 300, \"ended_ms\": null, \"left_ms\": 228300}, "
      "\"process\": {\"pid\": 43, \"name\": \"pump\", \"state\": \"S\", \"age_ms\": 11700, \"processor_ms\": 20, "
      "\"wait_channel\": \"hrtimer_nanosleep\", \"stack\": [], \"listens\": [], \"children\": []}, \"tags\": "
      "[{\"name\": \"pump.onlin\", \"pid\": 50, \"eu\": \"radio\", \"set_monotonic_ns\": 1000400000000, "
      "\"near_miss\": true}], \"launch_failure\": null, \"last_lines\": [\"full\"]}\n");
}

TEST(ListeningSockets, AreFoundInWhatTheKernelTells) {
  const auto tcp = orv::listenersInTcp(
      "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
      "   0: 0100007F:0050 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 4711 1 0 100 0 0 10 "
      "0\n"
      "   1: 0100007F:0051 0100007F:1234 01 00000000:00000000 00:00000000 00000000     0        0 4712 1 0 100 0 0 10 "
      "0\n");
  ASSERT_EQ(tcp.size(), 1U);
  EXPECT_TRUE(tcp.contains(4711));
  EXPECT_TRUE(tcp.at(4711) == "tcp 127.0.0.1:80" || tcp.at(4711) == "tcp 1.0.0.127:80") << tcp.at(4711);
  const auto local = orv::listenersInUnix(
      "Num       RefCount Protocol Flags    Type St Inode Path\n"
      "0000000000000000: 00000002 00000000 00010000 0001 01 815 /run/x\n"
      "0000000000000000: 00000003 00000000 00000000 0001 03 816 /run/y\n");
  ASSERT_EQ(local.size(), 1U);
  EXPECT_EQ(local.at(815), "unix /run/x");
}

TEST(ProcessDetails, TellOfThisProcess) {
  const auto details = orv::processDetails(static_cast<uint32_t>(getpid()));
  ASSERT_TRUE(details);
  EXPECT_EQ(details->state, 'R');
  EXPECT_EQ(details->name, "WhyTest");
  EXPECT_FALSE(orv::processDetails(0));
  EXPECT_FALSE(orv::processDetails(0x7fffffff));
}

}  // namespace
