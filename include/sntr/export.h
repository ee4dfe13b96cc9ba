/* Marks what the library exports. Everything else in it is local. */
#ifndef SNTR_EXPORT_H
#define SNTR_EXPORT_H

#define SNTR_API __attribute__((visibility("default")))

#endif
