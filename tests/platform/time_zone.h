#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

// The process's time zone as long as the object lives.
class TimeZone {
  public:
    explicit TimeZone(char const* zone) {
        if (char const* old = std::getenv("TZ")) {
            had_one_ = true;
            old_ = old;
        }
        Set(zone);
    }
    ~TimeZone() {
        if (had_one_)
            Set(old_.c_str());
        else
            unsetenv("TZ");
        tzset();
    }
    TimeZone(TimeZone const&) = delete;
    TimeZone& operator=(TimeZone const&) = delete;
    static void Set(char const* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

  private:
    bool had_one_ = false;
    std::string old_;
};
