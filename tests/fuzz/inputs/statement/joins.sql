SELECT x.name, y.country.name, y.height FROM country x LEFT JOIN city y ON y.country = x AND y.height > 30e0
  RIGHT JOIN t ON t.c = y.name WHERE x.area IS NOT NULL OR t.a IN (1, 2) ORDER BY 1 DESC, 2 LIMIT 5 OFFSET 1;
SELECT t1.a, t2.b FROM t t1 FULL JOIN (SELECT a, b + 1 AS b FROM t WHERE d > 0.5) t2 USING (a), (VALUES (1), (NULL)) v (n)
