#!/bin/sh
# Says that it is ready with the operator's tool. "set -e": where the tag cannot be set, the program ends and is seen to
# have failed.
set -e
orvctl tag set app.shell.online
exec sleep infinity
