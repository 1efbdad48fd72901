// adopt-orphans FILE ARGUMENT...: becomes that program, as a process that orphaned descendants come to. For programs in
// an emulator that refuses them the request (PR_SET_CHILD_SUBREAPER); this one is compiled for the machine that
// emulates.
#include <stdio.h>
#include <sys/prctl.h>
#include <unistd.h>

int main(int count, char **arguments) {
  if (count < 2) {
    fputs("adopt-orphans: which program?\n", stderr);
    return 2;
  }
  if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0) {
    perror("adopt-orphans: prctl");
    return 127;
  }
  execv(arguments[1], arguments + 1);
  return 127;
}
