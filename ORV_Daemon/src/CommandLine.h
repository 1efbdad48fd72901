// The command line: the option loop and the usage text.
//
// What an option sets goes into the start-up record, configuration tags or the two globals of OrvDaemon.h; nothing
// parsed is kept here. Options act in command-line order, so a later one overwrites what an earlier one set. A bad
// option never stops the daemon.
#ifndef ORV_DAEMON_COMMANDLINE_H
#define ORV_DAEMON_COMMANDLINE_H

// Reads and carries out all options. Returns false when there is no option at all, also when there are other arguments;
// nothing has been carried out then. Modifies the argument texts, which have to live as long as the process: the
// start-up record may point into them. To be called once per process, in the main thread.
bool parseCommandLine(int argc, char **argv);

// Carries out the long option at `index` of the option table that has no short letter, with its argument (may be null).
void dispatchLongOption(int index, char *argument);

// Prints the help text on standard output. Its gaps are known and kept: scripts compare it.
void usage();

#endif
