// The option --startup: the node's start-up parameters, "key=value,key=value,...".
//
// Most values go into the platform's start-up record, some become configuration tags, an environment variable, or one
// of the two globals of OrvDaemon.h. Each accepted key is acknowledged by a line on standard error (slave nodes by
// lines on standard output). Values are not validated: a text that is no number counts as 0. A key without "=" acts on
// an empty text.
#ifndef ORV_DAEMON_STARTUPOPTIONS_H
#define ORV_DAEMON_STARTUPOPTIONS_H

// Carries out one --startup argument, cut in place; null when the option stood without "=". An unknown key is reported
// and ends the list. The text has to live as long as the process: the start-up record points into it after the key
// syscomgwprotocol.
void parseStartupOptions(char *argument);

// Sets the tags of one slave node.
//   item    "<nid>:<ip>:<gwport>", cut in place
//   index   0-based position of the slave; its number in the tag names is index + 1
// Returns 1 when all three tags were set. Otherwise 0: the tags before the bad field are set, those after it are not.
int AddSlave(char *item, unsigned index);

#endif
