#include "bench/daemon_world.h"

void registerProcessFigures() {}
