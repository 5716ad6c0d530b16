// Exits with what the library answers to "was I started by the platform's task runner?".
#include <tavohacore.h>

int main(void) { return TAVOHAIsRunByTavoschedtask(); }
