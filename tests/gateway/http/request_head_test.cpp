#include "gateway/http/request_head.h"

namespace gateway {
namespace {

std::string problem(const std::string& fields, const std::string& line = "GET / HTTP/1.1") {
    return head_problem(line + "\r\n" + fields + "\r\n");
}

TEST(RequestHead, EndIsFoundAsBytesCome) {
    const std::string head = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";
    std::size_t looked = 0;
    for (std::size_t bytes = 0; bytes < head.size(); bytes++)
        EXPECT_EQ(head_length(std::string_view(head).substr(0, bytes), &looked), 0U) << bytes;
    EXPECT_EQ(head_length(head + "GET", &looked), head.size());
}

TEST(RequestHead, EmptyLinesInFrontAreCounted) {
    EXPECT_EQ(empty_lines("\r\n\r\nGET"), 4U);
    EXPECT_EQ(empty_lines("\r"), 0U);
    EXPECT_EQ(empty_lines("\n\nGET"), 0U);
}

TEST(RequestHead, UsualOnesPass) {
    EXPECT_EQ(problem("Host: a\r\n"), "");
    EXPECT_EQ(problem("Host: a\r\nContent-Length: 3\r\nX-Empty:\r\nX-Tab: a\tb\r\n"), "");
    EXPECT_EQ(problem("Host: a\r\nTransfer-Encoding: chunked\r\n"), "");
    EXPECT_EQ(problem("Host: a\r\nTRANSFER-ENCODING:  Chunked \r\n"), "");
    EXPECT_EQ(problem("", "GET / HTTP/1.0"), "");
}

TEST(RequestHead, WhatTwoReadersUnderstandInTwoWaysIsRefused) {
    for (const char* fields : {
             "",                                                      // no Host
             "Host: a\r\nHost: b\r\n",                                // two
             "Host: a\r\nContent-Length: 3\r\nContent-Length: 3\r\n", //
             "Host: a\r\nContent-Length: 3, 3\r\n",
             "Host: a\r\nContent-Length: +3\r\n",
             "Host: a\r\nContent-Length:\r\n",
             "Host: a\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n",          //
             "Host: a\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", //
             "Host: a\r\nTransfer-Encoding: gzip, chunked\r\n",                         //
             "Host: a\r\nTransfer-Encoding: xchunked\r\n",                              //
             "Host: a\r\nTransfer-Encoding: \vchunked\r\n",                             //
             "Host: a\r\nX: b\r\n folded\r\n",                                          //
             "Host: a\r\n\tfolded\r\n",                                                 //
             "Host : a\r\n",                                                            //
             "Host: a\r\nX y: b\r\n",                                                   //
             "Host: a\r\n: b\r\n",                                                      //
             "Host: a\r\nno colon\r\n",                                                 //
             "Host: a\nX: b\r\n",                                                       // a bare line feed
             "Host: a\rX: b\r\n",                                                       //
             "Host: a\r\nX: \x01\r\n",                                                  //
             "Host: a\r\nX: \x7f\r\n",                                                  //
         })
        EXPECT_NE(problem(fields), "") << fields;
    EXPECT_NE(problem(std::string("Host: a\r\nX: \0\r\n", 15)), "");
    EXPECT_NE(problem("Host: a\r\nTransfer-Encoding: chunked\r\n", "POST / HTTP/1.0"), "");
}

} // namespace
} // namespace gateway
