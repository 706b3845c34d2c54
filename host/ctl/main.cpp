// nexthopctl: asks a running nexthopd.

#include "host/ctl/Nexthopctl.h"

int main(int argc, char** argv) { return Routing::Host::nexthopctl(argc, argv); }
