#ifndef WRENFALL_EXAMPLES_PURE_VIRTUAL_CALL_H_
#define WRENFALL_EXAMPLES_PURE_VIRTUAL_CALL_H_

// A failure that no compiler foresees. The namespace has a name, so that the compiler cannot know
// what is derived from the class and call that directly.
namespace pure_virtual {

class Abstract {
 public:
  Abstract() {
    void (*volatile call)(Abstract*) = [](Abstract* object) { object->act(); };
    call(this);
  }
  virtual ~Abstract() = default;
  virtual void act() = 0;
};

class Concrete : public Abstract {
 public:
  void act() override {}
};

inline void call() { Concrete().act(); }

}  // namespace pure_virtual

#endif  // WRENFALL_EXAMPLES_PURE_VIRTUAL_CALL_H_
