// Says that it is ready by systemd's protocol, as it would as a service of systemd's: a datagram to the socket that
// NOTIFY_SOCKET names. A program that does this already needs nothing else.
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static int notify(const char *message) {
  const char *const name = getenv("NOTIFY_SOCKET");
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  if (name == NULL || strlen(name) >= sizeof address.sun_path) return -1;
  memcpy(address.sun_path, name, strlen(name));
  socklen_t length = (socklen_t)(offsetof(struct sockaddr_un, sun_path) + strlen(name));
  if (name[0] == '@') address.sun_path[0] = '\0';  // a name that is in no folder
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return -1;
  const ssize_t sent = sendto(descriptor, message, strlen(message), 0, (struct sockaddr *)&address, length);
  close(descriptor);
  return sent < 0 ? -1 : 0;
}

int main(void) {
  if (notify("READY=1\nSTATUS=listening on channel 7") != 0) {
    perror("cannot notify");
    return 1;
  }
  for (;;)
    pause();
}
