// The yardstick of the start-up benchmark: a C++ program that prints one line and ends.
#include <iostream>

int main() {
  std::cout << "trivial" << std::endl;
  return 0;
}
