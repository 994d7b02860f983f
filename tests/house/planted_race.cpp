#include <QThread>

namespace {

int counter = 0; // written by two threads without a lock, on purpose

class Counting final : public QThread
{
protected:
    void run() override
    {
        for (int i = 0; i < 1000; ++i)
            ++counter;
    }
};

} // namespace

int main()
{
    Counting one;
    Counting two;
    one.start();
    two.start();
    one.wait();
    two.wait();
    return counter == 0 ? 1 : 0;
}
