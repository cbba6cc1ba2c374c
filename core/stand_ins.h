// stand_ins.h - a routine for every host slot that does nothing and answers 0,
// of that slot's own type, so that no routine is ever called through a
// pointer of another type.
#pragma once

#include "host/host_routines.h"

// The stand-in for routine `id` (any id 1..121).
VwRoutine StandInFor(int id);

// The bare no-op routine; it is exported as VwStreamReadRecord and two more names.
extern "C" void VwStreamReadRecord(void);
