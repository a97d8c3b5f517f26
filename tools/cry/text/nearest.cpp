#include "text/nearest.hpp"

#include "text/convert.hpp"

#include <algorithm>

namespace
{

// How many letters must be added, left out, replaced or exchanged with the next one.
size_t distance( const std::string &from, const std::string &to )
{
    std::vector<std::vector<size_t>> least( from.size() + 1, std::vector<size_t>( to.size() + 1 ) );
    for( size_t i = 0; i <= from.size(); i++ )
    {
        for( size_t j = 0; j <= to.size(); j++ )
        {
            if( !i || !j )
            {
                least[i][j] = i + j;
                continue;
            }
            bool same   = from[i - 1] == to[j - 1];
            least[i][j] = std::min( { least[i - 1][j] + 1, least[i][j - 1] + 1, least[i - 1][j - 1] + !same } );
            if( i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1] )
                least[i][j] = std::min( least[i][j], least[i - 2][j - 2] + 1 );
        }
    }
    return least[from.size()][to.size()];
}

}

std::string tool::nearest( const std::string &word, const std::vector<std::string> &words )
{
    // No command and no option is nearly as long.
    constexpr size_t longest = 60;

    std::string found;
    size_t      least = std::min<size_t>( word.size(), longest );
    for( const std::string &each : words )
    {
        if( word.size() > longest )
            break;
        size_t many = distance( lowerCase( word ), lowerCase( each ) );
        // A third of the letters may be wrong.
        if( many * 3 <= std::max( word.size(), each.size() ) && many < least )
        {
            found = each;
            least = many;
        }
    }
    return found;
}
