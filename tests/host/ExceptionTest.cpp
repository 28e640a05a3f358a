#include "host/Exception.h"

#include <gtest/gtest.h>

#include "host/CimStatus.h"
#include "host/List.h"

namespace {

// A derived exception that fills its values through the protected setters and
// copies only some of them, as derived error types of the host may do.
class PartialCopyException : public TovaBaseException {
 public:
  PartialCopyException(const TOVString& who, const TOVString& where) {
    setType("Partial");
    setWho(who);
    setWhere(where);
    setMessage("message");
    setCode(17);
  }
  PartialCopyException(const PartialCopyException& other) : TovaBaseException() {
    setWhere(other.getWhere());
    setMessage(other.getMessage());
    setCode(other.getCode());
  }
};

}  // namespace

TEST(TovaBaseExceptionTest, ConstructorStoresTheFiveValues) {
  TovaBaseException e("Provider", "where", "who", "message", 7);
  EXPECT_EQ(e.getType(), "Provider");
  EXPECT_EQ(e.getWhere(), "where");
  EXPECT_EQ(e.getWho(), "who");
  EXPECT_EQ(e.getMessage(), "message");
  EXPECT_EQ(e.getCode(), 7);
  EXPECT_STREQ(e.what(), "message");
}

TEST(TovaBaseExceptionTest, DefaultIsEmptyWithCodeZero) {
  TovaBaseException e;
  EXPECT_TRUE(e.getType().isNull());
  EXPECT_TRUE(e.getWhere().isNull());
  EXPECT_TRUE(e.getWho().isNull());
  EXPECT_TRUE(e.getMessage().isNull());
  EXPECT_EQ(e.getCode(), 0);
}

TEST(TovaBaseExceptionTest, CopyCopiesAllFiveValues) {
  TovaBaseException e("t", "w", "o", "m", 3);
  TovaBaseException copy(e);
  EXPECT_EQ(copy.getType(), "t");
  EXPECT_EQ(copy.getWhere(), "w");
  EXPECT_EQ(copy.getWho(), "o");
  EXPECT_EQ(copy.getMessage(), "m");
  EXPECT_EQ(copy.getCode(), 3);
}

TEST(TovaBaseExceptionTest, DerivedCopyThatSkipsValuesReportsThemEmpty) {
  PartialCopyException original("component", "operation");
  EXPECT_EQ(original.getWho(), "component");
  PartialCopyException copy(original);
  EXPECT_TRUE(copy.getWho().isNull());
  EXPECT_TRUE(copy.getType().isNull());
  EXPECT_EQ(copy.getWhere(), "operation");
  EXPECT_EQ(copy.getCode(), 17);
}

TEST(TovaBaseExceptionTest, GetInstancesIsNull) {
  EXPECT_TRUE(TovaBaseException().getInstances().isNull());
}

TEST(TovaBaseExceptionTest, CimStatusIsFailedWhateverTheCode) {
  for (int code : {0, 4, 6, 7, 17664}) {
    SCOPED_TRACE(code);
    EXPECT_EQ(TovaBaseException("Type", "where", "who", "message", code).getCimStatus(),
              CIM_ERR_FAILED);
  }
  EXPECT_EQ(TOVNullPointerException().getCimStatus(), CIM_ERR_FAILED);
}

TEST(TovaBaseExceptionTest, IsCatchableAsStdException) {
  try {
    throw TovaBaseException("", "src", "", "text", 0);
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "text");
  }
}

TEST(TOVNullPointerExceptionTest, IsATovaBaseExceptionWithFixedTexts) {
  TOVNullPointerException e;
  const TovaBaseException& base = e;
  EXPECT_EQ(base.getWhere(), "TOVSmrPtr::operator->");
  EXPECT_EQ(base.getMessage(), "null pointer dereferenced");
  EXPECT_EQ(base.getCode(), 0);
}
