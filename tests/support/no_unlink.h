#ifndef TESTS_SUPPORT_NO_UNLINK_H
#define TESTS_SUPPORT_NO_UNLINK_H

// While one lives no file can be deleted with unlink(), as on a file system that became read-only;
// root has no other way to see that. For programs linked with "--wrap=unlink".
class cNoUnlink {
  public:
    cNoUnlink();
    ~cNoUnlink();
    cNoUnlink(const cNoUnlink&) = delete;
    cNoUnlink& operator=(const cNoUnlink&) = delete;
};

#endif
