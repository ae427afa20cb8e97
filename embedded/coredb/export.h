// Marks what the kernel's shared library exports.
#pragma once

#define QD_COREDB_API __attribute__((visibility("default")))
