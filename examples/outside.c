/*
 * How other code in the home screen's process uses the library: it looks the exported names up,
 * with the types that hushlane/hushlane.h gives them. Prints what is set, and whether a message
 * from the number would get through to the members of the chosen group.
 *
 *   outside LIBRARY NUMBER
 *
 * On a phone it belongs into code that the home screen has loaded: it calls the platform's own
 * functions. `script/test` builds it with a simulated phone around it, as build/gcc/bin/outside.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "hushlane/hushlane.h"

typedef struct objc_object* id;
typedef struct objc_selector* SEL;

/* The platform's own, as an Objective-C compiler would call them. */
id objc_getClass(const char* name);
SEL sel_registerName(const char* name);
void objc_msgSend(void);
id objc_autorelease(id object);
void* objc_autoreleasePoolPush(void);
void objc_autoreleasePoolPop(void* pool);

static id makeString(const char* text) {
  id (*alloc)(id, SEL) = (id(*)(id, SEL))objc_msgSend;
  id (*init)(id, SEL, const char*) = (id(*)(id, SEL, const char*))objc_msgSend;
  const id allocated = alloc(objc_getClass("NSString"), sel_registerName("alloc"));
  return objc_autorelease(init(allocated, sel_registerName("initWithUTF8String:"), text));
}

static unsigned long count(id list) {
  unsigned long (*send)(id, SEL) = (unsigned long (*)(id, SEL))objc_msgSend;
  return send(list, sel_registerName("count"));
}

/* A name that another version of the library may lack. */
static void* find(void* library, const char* name) {
  void* const found = dlsym(library, name);
  if (found == NULL) {
    fprintf(stderr, "outside: the library exports no %s\n", name);
    exit(1);
  }
  return found;
}

/* As POSIX has it, since C has no cast from an address to a function. */
static void findFunction(void* library, const char* name, void* function) {
  *(void**)function = find(library, name);
}

static void report(void* library, const char* number) {
  const int64_t* const group = (const int64_t*)find(library, "allowedMessageGroup");
  const int64_t* const digits = (const int64_t*)find(library, "maxNumOfDigitsToCompare");
  id* const days = (id*)find(library, "daysForSuppressingScheduler");
  HushlaneLoadABGroups loadGroups;
  HushlanePhoneNumberBelongsToPrivilegedPerson isMember;
  HushlaneShouldSchedulerBeSuppressed isSuppressed;
  findFunction(library, "loadABGroups", &loadGroups);
  findFunction(library, "phoneNumberBelongsToPrivilegedPerson", &isMember);
  findFunction(library, "shouldSchedulerBeSuppressed", &isSuppressed);

  if (*group == HushlaneAllowedMessageGroupEveryone) printf("everyone gets through\n");
  printf("group %d of %lu, last %d digits\n", (int)*group, count(loadGroups()), (int)*digits);
  printf("%s: %s\n", number, isMember(makeString(number)) ? "a member" : "no member");
  printf("schedule: %s today, left out on %lu weekdays\n", isSuppressed(0) ? "left out" : "as set",
         count(*days));
}

int main(int argc, char** argv) {
  void* library;
  void* pool;
  if (argc != 3) {
    fprintf(stderr, "usage: outside LIBRARY NUMBER\n");
    return 2;
  }
  library = dlopen(argv[1], RTLD_NOW); /* which the home screen has loaded already */
  if (library == NULL) {
    fprintf(stderr, "outside: %s\n", dlerror());
    return 1;
  }
  pool = objc_autoreleasePoolPush();
  report(library, argv[2]);
  objc_autoreleasePoolPop(pool);
  return 0;
}
