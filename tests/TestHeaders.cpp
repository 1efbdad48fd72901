// Nothing but the owner of the headers that the tests share; see tests/CMakeLists.txt.
int main() {
  return 0;
}
