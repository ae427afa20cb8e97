// Marks what libqddbmetalayer exports; everything else in it is hidden.
#pragma once

#define QD_EMBEDDED_API __attribute__((visibility("default")))
