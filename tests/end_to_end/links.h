#ifndef WRENFALL_TESTS_LINKS_H_
#define WRENFALL_TESTS_LINKS_H_

/* Makes a "junction" or a "symbolic" link to a folder; paths in UTF-8. 0 when there is one then,
 * otherwise the system's error; -1 when the system says that there is one, but there is none. */
long long make_link(const char* kind, const char* link, const char* target);

#endif
