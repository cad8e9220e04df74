// A host for the front end's tests: every object that a host implements, with a log of the calls
// that it received.
#pragma once
#include "tests/support/fake_packets.h"
#include "tests/support/fake_sinks.h"
#include "tests/support/fake_stream.h"
