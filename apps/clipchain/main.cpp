#include "clipchain/tool.h"

int main(int argc, char** argv) { return clipchain::RunTool(argc, argv); }
