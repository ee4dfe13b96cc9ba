/* Marks what the services layer exports; everything else in it is local. */
#ifndef OSS_EXPORT_H
#define OSS_EXPORT_H

#define OSS_API __attribute__((visibility("default")))

#endif
