// The options -c/--config and -s/--config_short: lists of configuration tags, "<tag>=<value>[,<tag>=<value>]...".
#ifndef ORV_DAEMON_CONFIGTAGS_H
#define ORV_DAEMON_CONFIGTAGS_H

// Sets the tags of `list`, which is cut in place. "=" and "," separate alike and runs of them count as one, so names
// and values simply alternate; a name without a value at the end is ignored. A value that is a whole number in the
// signed 32-bit range becomes a number, 16 bits wide (the low ones) when `shortValues` is not 0, else 32; any other
// value becomes a text. Returns 0.
int configTags(char *list, int shortValues);

#endif
