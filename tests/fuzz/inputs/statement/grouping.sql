SELECT country.name, count(*), count(DISTINCT capital, height), sum(inhabitants), min(name), avg(height)
FROM city GROUP BY country.name HAVING max(inhabitants) > $1 OR count(height) = 0 ORDER BY 2;
SELECT DISTINCT a, CASE b WHEN 1 THEN 'x' ELSE c END FROM t UNION SELECT b, c FROM t UNION ALL VALUES (1, 'a')
