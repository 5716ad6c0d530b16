// Stands for the cluster's tools: a program that says its lines and ends.
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "--resource") == 0) {
    // The passive node: the chain's ends run elsewhere, the sets' slaves here.
    if (strncmp(argv[2], "DUMMY", 5) == 0) {
      printf("resource %s is running on: nas-b\n", argv[2]);
    } else {
      printf("resource %s is running on: nas-a\nresource %s is running on: nas-b Master\n", argv[2],
             argv[2]);
    }
    return 0;
  }
  printf("nas-a: ONLINE\nnas-b: ONLINE\n");
  return 0;
}
