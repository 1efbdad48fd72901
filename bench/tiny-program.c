/* Ends well, and does nothing else. */
int main(void) {
  return 0;
}
