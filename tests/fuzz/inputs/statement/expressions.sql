SELECT a + b * d / 2 - -1, a || c, concat(c, a), coalesce(c, $1, 'x'), nullif(a, 1), a BETWEEN 0 AND $2,
  c LIKE 'a%', c NOT LIKE $3, starts_with(c, 'ab'), xor(a = 1, NOT b IS NULL), e::numeric, d::double precision,
  a::unsigned, (a = 1) IS NOT TRUE, x'00ff', -9223372036854775808, 18446744073709551615, 1e308, NULL FROM t
