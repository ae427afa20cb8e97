// Marks what libqdcoredb exports; everything else in it is hidden.
#pragma once

#define QD_COREDB_API __attribute__((visibility("default")))
