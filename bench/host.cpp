// A C++ program that does nothing: what is measured is how long it takes to start and to end with
// the libraries that it is linked with.
#include <iostream>

int main() {
    return 0;
}
