// The same binary is the tests and every other process of theirs.
#include "support/actor.h"

int main(int argc, char **argv) { return support::runTestsOrPart(argc, argv); }
