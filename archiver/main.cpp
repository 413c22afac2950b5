#include "archiver/driver.h"

int main(int argc, char** argv) { return zoltMain(argc, argv); }
