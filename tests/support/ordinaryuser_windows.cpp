#include "tests/support/ordinaryuser.h"

// A file's read-only mark binds administrators like anybody else.
OrdinaryUser::OrdinaryUser() = default;
OrdinaryUser::~OrdinaryUser() = default;
