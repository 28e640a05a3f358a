#include "framework/MessageTable.h"

#include <gtest/gtest.h>

namespace MessageTable = kest::pf::MessageTable;

TEST(MessageTableTest, HoldsTheFixedTexts) {
  EXPECT_EQ(MessageTable::E_PFPROVIDER_ERROR_MISSING_PARAMETER, "Missing parameter");
  EXPECT_EQ(MessageTable::E_PFPROVIDER_ERROR_UNDECLARED_CLASS, "Undeclared class");
  EXPECT_EQ(MessageTable::E_PFPROVIDER_ERROR_OBJECT_NOT_FOUND,
            "The requested object could not be found. It may not exist or it may have been "
            "removed at an earlier time.");
  EXPECT_EQ(MessageTable::E_PFPROVIDER_ERROR_ACCESS_VALUE, "Accessing Value violation");
  EXPECT_EQ(MessageTable::E_PFPROVIDER_ERROR_INVALDE_PARAMETER, "Invalide input parameter");
}
