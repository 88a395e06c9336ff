// Taking printf formats apart.
#include "probe/values/format.h"

#include <gtest/gtest.h>

#include <string>

namespace pcsim::probe {
namespace {

// Every conversion with the words it takes, text in brackets.
std::string taken(std::string_view format) {
    std::string pieces;
    while (!format.empty()) {
        const FormatPiece piece = takePiece(format);
        if (piece.isText())
            pieces += "[" + std::string(piece.text) + "]";
        else
            pieces += std::string(1, piece.conversion) + std::to_string(piece.stars) +
                      std::to_string(piece.words);
    }
    return pieces;
}

TEST(Format, TakesTheWordsThatI386Passes) {
    EXPECT_EQ(taken("slot %d: %s"), "[slot ]d01[: ]s01");
    EXPECT_EQ(taken("%llu%lu%jd%qd%hhx%zu%p"), "u02u01d02d02x01u01p01");
    EXPECT_EQ(taken("%f%Lf%5.2e"), "f02f03e02");
    EXPECT_EQ(taken("%-*.*s|"), "s21[|]");
    EXPECT_EQ(taken("100%%"), "[100]%00");
}

TEST(Format, KeepsThePrecision) {
    std::string_view format = "%16.36s";
    EXPECT_EQ(takePiece(format).precision, 36);
    format = "%.*s";
    const FormatPiece piece = takePiece(format);
    EXPECT_TRUE(piece.precisionStar);
    EXPECT_EQ(piece.stars, 1);
    format = "%8d";
    EXPECT_EQ(takePiece(format).precision, -1);
    format = "%.s";
    EXPECT_EQ(takePiece(format).precision, 0);
}

TEST(Format, AnEndInTheMiddleIsText) {
    EXPECT_EQ(taken("%"), "[%]");
    EXPECT_EQ(taken("a%-12"), "[a][%-12]");
    EXPECT_EQ(taken(""), "");
}

}  // namespace
}  // namespace pcsim::probe
