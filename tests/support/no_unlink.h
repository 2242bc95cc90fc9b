#ifndef TESTS_SUPPORT_NO_UNLINK_H
#define TESTS_SUPPORT_NO_UNLINK_H

// While the object exists, unlink() fails, as on a file system that became read-only; root cannot
// provoke that in another way. For programs linked with "--wrap=unlink".
class cNoUnlink {
  public:
    cNoUnlink();
    ~cNoUnlink();
    cNoUnlink(const cNoUnlink&) = delete;
    cNoUnlink& operator=(const cNoUnlink&) = delete;
};

#endif
