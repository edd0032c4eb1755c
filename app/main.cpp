#include "app/ClientMain.h"

int main(int argc, char *argv[])
{
    return clientMain(argc, argv);
}
