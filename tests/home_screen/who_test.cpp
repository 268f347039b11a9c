#include "home_screen/who.hpp"

#include <gtest/gtest.h>

namespace {

struct Number {
  const char* stored;
  const char* sender;
};

TEST(SenderFrom, IsWhatAMessageFromAStoredNumberBears) {
  for (const Number& number : {
           Number{"+1 (555) 010-0142", "+15550100142"},
           Number{"555.010/0142", "5550100142"},
           Number{"  0044 20 7010 0142 ", "00442070100142"},
           Number{"+1 555 010 0142 ext. 7", "+15550100142"},
           Number{"+15550100142,,7#", "+15550100142"},
           Number{"tel: +1 555", "+1555"},
           Number{"1+555", "1555"},
           Number{"call me", ""},
           Number{"", ""},
       }) {
    EXPECT_EQ(home_screen::senderFrom(number.stored), number.sender) << number.stored;
  }
}

}  // namespace
