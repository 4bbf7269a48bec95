// The filter's entry point.
#include "core/CommandFileFilter.h"

int main(int argc, char* argv[]) { return commandFileFilterMain(argc, argv); }
