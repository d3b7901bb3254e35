// Stands in for the command interpreter that the module starts: it does nothing.
int main() {
  return 0;
}
