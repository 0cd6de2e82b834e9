TEST_F(Files, AreCut) {}
