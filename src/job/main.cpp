#include "job/job.hpp"

int main() { return ossa::job::MAIN__() == 1 ? 0 : 1; }
